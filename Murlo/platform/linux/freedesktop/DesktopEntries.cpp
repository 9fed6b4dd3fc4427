#include "platform/linux/freedesktop/DesktopEntries.h"

#include "platform/linux/processes/ProcessFacts.h"

#include <QDateTime>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QLocale>
#include <QProcess>
#include <QStandardPaths>

namespace murlo {

namespace {

/// The file name of the program in an entry's command line, after an optional "env" with its
/// assignments.
QString programOf(const QString& commandLine) {
    for (const QString& word : QProcess::splitCommand(commandLine)) {
        QString file = QFileInfo(word).fileName();
        if (file != QLatin1String("env") && !word.contains(QLatin1Char('='))) return file;
    }
    return {};
}

/// "Name[de]" ranks above "Name"; a name in another language has no rank.
int rankOfName(const QString& key) {
    if (key == QLatin1String("Name")) return 1;
    if (!key.startsWith(QLatin1String("Name[")) || !key.endsWith(QLatin1Char(']'))) return 0;
    const QString language = key.mid(5, key.size() - 6);
    const QString own = QLocale().name(); // "de_AT"
    if (language == own) return 3;
    return language == own.section(QLatin1Char('_'), 0, 0) ? 2 : 0;
}

using FolderTimes = QHash<QString, QDateTime>;

FolderTimes timesOf(const QStringList& folders) {
    FolderTimes times;
    for (const QString& folder : folders) times.insert(folder, QFileInfo(folder).lastModified());
    return times;
}

} // namespace

/// All entries by their names.
struct DesktopEntries::Index {
    explicit Index(const QStringList& folders)
        : modified(timesOf(folders)) {
        for (const QString& folder : folders) readFolder(folder);
    }

    void readFolder(const QString& folder);
    void read(const QString& path, const QString& id);

    FolderTimes modified; ///< when a folder had last changed
    QHash<QString, Entry> byId;
    QHash<QString, QString> byClass; ///< ids by lower-case names
    QHash<QString, QString> byShortId;
    QHash<QString, QString> byProgram;
};

DesktopEntries::DesktopEntries(Scheduler& scheduler, QStringList folders)
    : m_scheduler(scheduler)
    , m_folders(std::move(folders)) {
    if (m_folders.isEmpty())
        m_folders = QStandardPaths::standardLocations(QStandardPaths::ApplicationsLocation);
    readInBackground();
}

void DesktopEntries::readInBackground() {
    if (std::exchange(m_reading, true)) return;
    auto done = m_lifetime.guard([this](const IndexRef& index) {
        m_reading = false;
        m_index = index;
    });
    m_scheduler.background([&scheduler = m_scheduler, folders = m_folders, done]() mutable {
        auto index = std::make_shared<const Index>(folders);
        scheduler.nextTurn([done, index]() mutable { done(index); });
    });
}

const DesktopEntries::Index& DesktopEntries::index() {
    if (!m_index)
        m_index = std::make_shared<const Index>(m_folders);
    else if (timesOf(m_folders) != m_index->modified)
        readInBackground();
    return *m_index;
}

void DesktopEntries::Index::readFolder(const QString& folder) {
    QDirIterator files(folder, {QStringLiteral("*.desktop")}, QDir::Files,
                       QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
    while (files.hasNext()) {
        const QString path = files.next();
        QString id = path.mid(folder.size() + 1).chopped(8); // ".desktop"
        id.replace(QLatin1Char('/'), QLatin1Char('-'));
        if (!byId.contains(id)) read(path, id); // the folders are in order of precedence
    }
}

void DesktopEntries::Index::read(const QString& path, const QString& id) {
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
            if (inEntry) break; // the groups of actions follow
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
    byId.insert(id, entry);
    const auto index = [&id, isHidden](QHash<QString, QString>& names, const QString& name) {
        // A hidden entry (a handler, a variant) never replaces a visible one.
        if (!name.isEmpty() && !isHidden && !names.contains(name)) names.insert(name, id);
    };
    index(byClass, windowClass);
    index(byShortId, id.toLower());
    index(byShortId, id.section(QLatin1Char('.'), -1).toLower());
    index(byProgram, program);
}

std::optional<DesktopEntries::Entry>
DesktopEntries::ofProcess(qint64 pid, const std::function<QStringList()>& windowClasses) {
    for (const auto& id : {ProcessFacts::launchedEntry(pid), ProcessFacts::applicationGroup(pid)}) {
        if (!id) continue;
        if (auto found = withId(*id)) return found;
    }
    for (const QString& name : windowClasses()) {
        if (auto found = withWindowClass(name)) return found;
    }
    for (const QString& program : ProcessFacts::programs(pid)) {
        if (auto found = withProgram(program)) return found;
    }
    return std::nullopt;
}

std::optional<DesktopEntries::Entry> DesktopEntries::withId(const QString& id) {
    const Index& known = index();
    const auto found = known.byId.constFind(id);
    return found == known.byId.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<DesktopEntries::Entry> DesktopEntries::withWindowClass(const QString& name) {
    const Index& known = index();
    const QString lower = name.toLower();
    const QString id = known.byClass.value(lower, known.byShortId.value(lower));
    return id.isEmpty() ? std::nullopt : withId(id);
}

std::optional<DesktopEntries::Entry> DesktopEntries::withProgram(const QString& program) {
    const QString id = index().byProgram.value(program);
    return id.isEmpty() ? std::nullopt : withId(id);
}

} // namespace murlo
