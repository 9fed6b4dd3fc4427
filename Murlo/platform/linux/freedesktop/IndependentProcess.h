#pragma once

class QProcess;

namespace murlo {

/// A process, to be started by the caller, that outlives this program: it has a session of its own
/// and nothing of this program's terminal, files and blocked signals. It deletes itself after its
/// end. (`QProcess::startDetached` runs no child process modifier, and would pass files on.) Main
/// thread.
[[nodiscard]] QProcess* makeIndependentProcess();

} // namespace murlo
