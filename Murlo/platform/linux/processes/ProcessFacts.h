#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo::ProcessFacts {

/// The desktop entry from which the launcher started exactly this process.
[[nodiscard]] std::optional<QString> launchedEntry(qint64 pid);
/// The application that a control group is named after, as session managers and sandboxes do:
/// "app-gnome-org.example.Editor-1234.scope", "snap.editor.editor.….scope". `path` is a line of
/// /proc/PID/cgroup.
[[nodiscard]] std::optional<QString> applicationOfGroup(const QString& path);
[[nodiscard]] std::optional<QString> applicationGroup(qint64 pid);
/// File names under which the process may have been started: of its executable, its first argument
/// and, for scripts, the second.
[[nodiscard]] QStringList programs(qint64 pid);
/// The processes of this user that run this program file, also one that was removed since.
[[nodiscard]] QList<qint64> running(const QString& programFile);
/// The process's command line, the program's name first; empty for one that is gone.
[[nodiscard]] QStringList arguments(qint64 pid);
/// Whether a process of this user has a file in this folder, or deeper, open; also a removed one.
[[nodiscard]] bool hasOpenBelow(qint64 pid, const QString& folder);
/// The kernel's short name of the process.
[[nodiscard]] std::optional<QString> commandName(qint64 pid);
/// The process's running time as the kernel counts it, to be compared only; empty for a process
/// that is gone or cannot be inspected.
[[nodiscard]] QByteArray runningTime(qint64 pid);
/// Whether the process is sleeping.
[[nodiscard]] bool isAsleep(qint64 pid);
/// Whether the process has the socket with this inode open.
[[nodiscard]] bool holdsSocket(qint64 pid, const QByteArray& number);

} // namespace murlo::ProcessFacts
