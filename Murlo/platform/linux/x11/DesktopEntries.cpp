#include "platform/linux/x11/DesktopEntries.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QProcess>
#include <QStandardPaths>

namespace murlo {

namespace {

/// The file name of the program in an entry's command line, past an "env" and its assignments.
QString programOf(const QString& commandLine) {
    for (const QString& word : QProcess::splitCommand(commandLine)) {
        QString file = QFileInfo(word).fileName();
        if (file != QLatin1String("env") && !word.contains(QLatin1Char('='))) return file;
    }
    return {};
}

/// "Name[de]" ranks above "Name"; a name for a foreign language has no rank.
int rankOfName(const QString& key) {
    if (key == QLatin1String("Name")) return 1;
    if (!key.startsWith(QLatin1String("Name[")) || !key.endsWith(QLatin1Char(']'))) return 0;
    const QString language = key.mid(5, key.size() - 6);
    const QString own = QLocale().name(); // "de_AT"
    if (language == own) return 3;
    return language == own.section(QLatin1Char('_'), 0, 0) ? 2 : 0;
}

} // namespace

DesktopEntries::DesktopEntries(QStringList folders)
    : m_folders(std::move(folders)) {
    if (m_folders.isEmpty())
        m_folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
}

void DesktopEntries::refresh() {
    QHash<QString, QDateTime> modified;
    for (const QString& folder : std::as_const(m_folders))
        modified.insert(folder, QFileInfo(folder).lastModified());
    if (modified == m_modified) return;
    m_modified = modified;
    for (auto* index : {&m_byClass, &m_byShortId, &m_byProgram}) index->clear();
    m_byId.clear();
    for (const QString& folder : std::as_const(m_folders)) readFolder(folder);
}

void DesktopEntries::readFolder(const QString& folder) {
    QDirIterator files(folder, {QStringLiteral("*.desktop")}, QDir::Files,
                       QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
    while (files.hasNext()) {
        const QString path = files.next();
        QString id = path.mid(folder.size() + 1).chopped(8); // ".desktop"
        id.replace(QLatin1Char('/'), QLatin1Char('-'));
        if (!m_byId.contains(id)) read(path, id); // the folders come in order of precedence
    }
}

void DesktopEntries::read(const QString& path, const QString& id) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return;
    Entry entry{id, {}};
    QString windowClass;
    QString program;
    int rank = 0;
    bool isHidden = false;
    bool inEntry = false;
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine(65536)).trimmed();
        if (line.startsWith(QLatin1Char('['))) {
            if (inEntry) break; // the actions follow
            inEntry = line == QLatin1String("[Desktop Entry]");
        }
        const qsizetype equals = line.indexOf(QLatin1Char('='));
        if (!inEntry || equals < 1) continue;
        const QString key = line.left(equals).trimmed();
        const QString value = line.mid(equals + 1).trimmed();
        if (key == QLatin1String("StartupWMClass")) windowClass = value.toLower();
        if (key == QLatin1String("Exec")) program = programOf(value);
        if (key == QLatin1String("NoDisplay")) isHidden = value == QLatin1String("true");
        if (const int better = rankOfName(key); better > rank) {
            rank = better;
            entry.name = value;
        }
    }
    m_byId.insert(id, entry);
    const auto index = [&id, isHidden](QHash<QString, QString>& names, const QString& name) {
        // A hidden entry (a handler, a variant) never stands in for the one that users see.
        if (!name.isEmpty() && !isHidden && !names.contains(name)) names.insert(name, id);
    };
    index(m_byClass, windowClass);
    index(m_byShortId, id.toLower());
    index(m_byShortId, id.section(QLatin1Char('.'), -1).toLower());
    index(m_byProgram, program);
}

std::optional<DesktopEntries::Entry> DesktopEntries::withId(const QString& id) {
    refresh();
    const auto found = m_byId.constFind(id);
    return found == m_byId.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<DesktopEntries::Entry> DesktopEntries::withWindowClass(const QString& name) {
    refresh();
    const QString lower = name.toLower();
    const QString id = m_byClass.value(lower, m_byShortId.value(lower));
    return id.isEmpty() ? std::nullopt : withId(id);
}

std::optional<DesktopEntries::Entry> DesktopEntries::withProgram(const QString& program) {
    refresh();
    const QString id = m_byProgram.value(program);
    return id.isEmpty() ? std::nullopt : withId(id);
}

} // namespace murlo
