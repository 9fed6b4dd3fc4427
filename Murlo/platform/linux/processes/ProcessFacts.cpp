#include "platform/linux/processes/ProcessFacts.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <filesystem>
#include <functional>
#include <unistd.h>

namespace murlo::ProcessFacts {

namespace fs = std::filesystem;

namespace {

QByteArray procFile(qint64 pid, const char* name) {
    QFile file(QStringLiteral("/proc/%1/%2").arg(pid).arg(QLatin1String(name)));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether one of the process's open files is such a one, by what the kernel calls it.
bool anyOpen(qint64 pid, const std::function<bool(const fs::path&)>& isSuch) {
    std::error_code error;
    fs::directory_iterator entry("/proc/" + std::to_string(pid) + "/fd", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code gone;
        if (isSuch(fs::read_symlink(entry->path(), gone))) return true;
    }
    return false;
}

/// Unit names write unusual characters as "\x2d".
QString unescaped(QString unit) {
    static const QRegularExpression escape(QStringLiteral(R"(\\x([0-9a-f]{2}))"));
    for (auto match = escape.match(unit); match.hasMatch(); match = escape.match(unit)) {
        const auto code = static_cast<char>(match.captured(1).toInt(nullptr, 16));
        unit.replace(match.capturedStart(), match.capturedLength(), QLatin1Char(code));
    }
    return unit;
}

} // namespace

std::optional<QString> launchedEntry(qint64 pid) {
    QString path;
    bool isThisProcess = false; // children inherit the variables
    for (const QByteArray& variable : procFile(pid, "environ").split('\0')) {
        if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE="))
            path = QString::fromUtf8(variable.mid(26));
        if (variable.startsWith("GIO_LAUNCHED_DESKTOP_FILE_PID="))
            isThisProcess = variable.mid(30).toLongLong() == pid;
    }
    if (!isThisProcess || !path.endsWith(QLatin1String(".desktop"))) return std::nullopt;
    // Below "applications" the folders are part of the name.
    const qsizetype folder = path.lastIndexOf(QLatin1String("/applications/"));
    QString id = folder < 0 ? QFileInfo(path).fileName() : path.mid(folder + 14);
    return id.chopped(8).replace(QLatin1Char('/'), QLatin1Char('-'));
}

std::optional<QString> applicationOfGroup(const QString& path) {
    const QString unit = path.section(QLatin1Char('/'), -1).trimmed();
    // [app-][launcher-]ID[-number|@instance].scope|service: the launcher's name and the ID hold no
    // unescaped hyphen.
    static const QRegularExpression app(QStringLiteral(
        R"(^app-(?:[A-Za-z0-9_]+-)?((?:[^-@\\]|\\x[0-9a-f]{2})+?)(?:-[0-9a-f]+|@[^.]*)?\.(?:scope|service)$)"));
    static const QRegularExpression snap(
        QStringLiteral(R"(^snap\.([^.]+)\.([^.-]+)[.-].*\.scope$)"));
    if (const auto match = app.match(unit); match.hasMatch()) return unescaped(match.captured(1));
    if (const auto match = snap.match(unit); match.hasMatch())
        return match.captured(1) + QLatin1Char('_') + match.captured(2);
    return std::nullopt;
}

std::optional<QString> applicationGroup(qint64 pid) {
    for (const QByteArray& line : procFile(pid, "cgroup").split('\n')) {
        if (auto id = applicationOfGroup(QString::fromUtf8(line))) return id;
    }
    return std::nullopt;
}

QStringList programs(qint64 pid) {
    QStringList names{
        QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/%1/exe").arg(pid))).fileName()};
    for (const QString& argument : arguments(pid).mid(0, 2))
        names.append(QFileInfo(argument).fileName());
    names.removeAll(QString());
    names.removeDuplicates();
    return names;
}

QList<qint64> running(const QString& programFile) {
    const QString program = QFileInfo(programFile).canonicalFilePath();
    const QStringList names{program.isEmpty() ? programFile : program,
                            programFile + QStringLiteral(" (deleted)")};
    QList<qint64> found;
    const QStringList folders = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString& folder : folders) {
        const QString process = QStringLiteral("/proc/") + folder;
        if (QFileInfo(process).ownerId() != ::geteuid()) continue; // root can read others' links
        const QString link = QFile::symLinkTarget(process + QStringLiteral("/exe"));
        if (const qint64 pid = folder.toLongLong(); pid > 0 && names.contains(link)) found << pid;
    }
    return found;
}

QStringList arguments(qint64 pid) {
    QStringList words;
    for (const QByteArray& word : procFile(pid, "cmdline").split('\0'))
        words << QString::fromLocal8Bit(word);
    if (words.last().isEmpty()) words.removeLast(); // each ends with a zero
    return words;
}

std::optional<QString> commandName(qint64 pid) {
    const QByteArray name = procFile(pid, "comm").trimmed();
    return name.isEmpty() ? std::nullopt : std::optional(QString::fromLocal8Bit(name));
}

QByteArray runningTime(qint64 pid) {
    return procFile(pid, "schedstat");
}

bool isAsleep(qint64 pid) {
    const QByteArray line = procFile(pid, "stat"); // the name, in brackets, may hold any character
    return line.mid(line.lastIndexOf(')') + 1).trimmed().startsWith('S');
}

bool holdsSocket(qint64 pid, const QByteArray& number) {
    const fs::path wanted = "socket:[" + number.toStdString() + ']';
    return anyOpen(pid, [&](const fs::path& target) { return target == wanted; });
}

bool hasOpenBelow(qint64 pid, const QString& folder) {
    const QString canonical = QFileInfo(folder).canonicalFilePath();
    const std::string begin =
        QFile::encodeName((canonical.isEmpty() ? folder : canonical) + QLatin1Char('/'))
            .toStdString();
    return anyOpen(pid,
                   [&](const fs::path& target) { return target.native().rfind(begin, 0) == 0; });
}

} // namespace murlo::ProcessFacts
