#include "platform/linux/freedesktop/DetachedProgram.h"

#include <QDir>
#include <QProcess>

#include <csignal>
#include <linux/close_range.h>
#include <unistd.h>

namespace murlo {

namespace {

/// Runs in the child between fork and exec: async-signal-safe calls only.
void prepareChild() {
    setsid();
    // Not closed at once: the parent learns through one of them that exec has failed.
    close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

void makeIndependent(QProcess& process) {
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setChildProcessModifier(prepareChild);
}

std::optional<qint64> startDetached(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProgram(program);
    process.setArguments(arguments);
    process.setWorkingDirectory(QDir::rootPath());
    makeIndependent(process);
    qint64 pid = 0;
    return process.startDetached(&pid) ? std::optional(pid) : std::nullopt;
}

} // namespace murlo
