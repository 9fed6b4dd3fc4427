#include "platform/linux/freedesktop/XdgLoginItem.h"

#include "platform/linux/freedesktop/ExecLine.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace murlo {

namespace {

/// Whether a program lies in the folder in which it was built.
bool isUninstalled(const QString& program) {
    QDir folder = QFileInfo(program).dir();
    do
        if (folder.exists(QStringLiteral("CMakeCache.txt"))) return true;
    while (folder.cdUp());
    return false;
}

} // namespace

XdgLoginItem::XdgLoginItem(const QString& configFolder, QString program)
    : m_entry(configFolder + QStringLiteral("/autostart/murlo.desktop"))
    , m_program(std::move(program)) {}

bool XdgLoginItem::isEnabled() const {
    QFile file(m_entry);
    if (!file.open(QIODevice::ReadOnly)) return false;
    // Desktops disable an entry by marking it hidden or disabled, without removing it.
    const QByteArray text = file.readAll();
    return !text.contains("\nHidden=true") && !text.contains("\nX-GNOME-Autostart-enabled=false");
}

tl::expected<void, QString> XdgLoginItem::setEnabled(bool enabled) {
    if (!enabled) {
        QFile entry(m_entry);
        if (entry.exists() && !entry.remove()) return tl::unexpected(entry.errorString());
        return {};
    }
    if (isUninstalled(m_program))
        return tl::unexpected(QStringLiteral("this Murlo was built here and is not installed"));
    QDir().mkpath(QFileInfo(m_entry).path());
    QSaveFile file(m_entry);
    // Once the program is removed, the desktop passes the entry over without a word.
    QString tried = m_program;
    tried.replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
    const QByteArray text =
        QStringLiteral("[Desktop Entry]\nType=Application\nName=Murlo\nExec=%1 %2\n"
                       "TryExec=%3\nIcon=murlo\nX-GNOME-Autostart-enabled=true\n")
            .arg(execArgument(m_program), QLatin1String(argument), tried)
            .toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return tl::unexpected(file.errorString());
    return {};
}

} // namespace murlo
