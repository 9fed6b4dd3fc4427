#include "platform/linux/freedesktop/XdgLoginItem.h"

#include "platform/linux/freedesktop/ExecLine.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace murlo {

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
    QDir().mkpath(QFileInfo(m_entry).path());
    QSaveFile file(m_entry);
    const QByteArray text =
        QStringLiteral("[Desktop Entry]\nType=Application\nName=Murlo\nExec=%1\n"
                       "Icon=murlo\nX-GNOME-Autostart-enabled=true\n")
            .arg(execArgument(m_program))
            .toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(text) != text.size() || !file.commit())
        return tl::unexpected(file.errorString());
    return {};
}

} // namespace murlo
