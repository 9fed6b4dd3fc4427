#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo::ProcessFacts {

/// The desktop entry that a launcher says it started this very process from.
[[nodiscard]] std::optional<QString> launchedEntry(qint64 pid);
/// The application that a control group is named after, as session managers and sandboxes do:
/// "app-gnome-org.example.Editor-1234.scope", "snap.editor.editor.….scope". `path` is a line of
/// /proc/PID/cgroup.
[[nodiscard]] std::optional<QString> applicationOfGroup(const QString& path);
[[nodiscard]] std::optional<QString> applicationGroup(qint64 pid);
/// File names under which the process may have been started: of its executable, its first argument
/// and, for scripts, the second.
[[nodiscard]] QStringList programs(qint64 pid);
/// The kernel's short name of the process.
[[nodiscard]] std::optional<QString> commandName(qint64 pid);
/// The kernel's account of how long it has run, another one after every run; empty for a process
/// that is gone or not to be looked at.
[[nodiscard]] QByteArray runningTime(qint64 pid);
/// Whether it waits for something to happen.
[[nodiscard]] bool isAsleep(qint64 pid);
/// Whether it has a socket open, by the socket's number in the kernel.
[[nodiscard]] bool holdsSocket(qint64 pid, const QByteArray& number);

} // namespace murlo::ProcessFacts
