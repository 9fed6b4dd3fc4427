#include "platform/linux/freedesktop/IndependentProcess.h"

#include <QProcess>
#include <QSet>

#include <csignal>
#include <linux/close_range.h>
#include <unistd.h>

namespace murlo {

namespace {

/// Those that run. They are not destroyed with this program, since that would kill them.
QSet<QProcess*>& running() {
    static auto& processes = *new QSet<QProcess*>;
    return processes;
}

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

QProcess* makeIndependentProcess() {
    auto* process = new QProcess;
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    process->setChildProcessModifier(prepareChild);
    running().insert(process);
    QObject::connect(process, &QProcess::stateChanged, process,
                     [process](QProcess::ProcessState state) {
                         if (state != QProcess::NotRunning) return;
                         running().remove(process);
                         process->deleteLater();
                     });
    return process;
}

} // namespace murlo
