#pragma once

#include "platform/Port.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <tl/expected.hpp>

namespace murlo {

/// A running child program. It dies with the thread that started it, and so with this application,
/// however that ends. Use it on that thread, which has an event loop; handlers run there and may
/// destroy the handle. Destroying a handle ends a child that still runs: SIGTERM, and SIGKILL after
/// 2 seconds.
class ChildProcess : public Port {
public:
    [[nodiscard]] virtual qint64 pid() const = 0;
    [[nodiscard]] virtual bool isRunning() const = 0;
    virtual void terminate() = 0; ///< SIGTERM; returns at once
    virtual void kill() = 0;      ///< SIGKILL; returns at once
    /// Waits until the child has ended, at most `seconds`; true when it has.
    virtual bool waitForExit(double seconds) = 0;
};

/// Callbacks of a child program, on the thread that started it.
struct ChildHandlers {
    /// Standard output and standard error, as they come, in pieces of any size.
    std::function<void(const QByteArray&)> output;
    /// The child ended by itself; the exit status, or the number of the signal that ended it.
    /// Not called after the handle was destroyed.
    std::function<void(int)> exited;
};

/// Variables by their names.
using Environment = QMap<QString, QString>;

/// Starts programs and queries processes. Any thread with an event loop.
class ProcessLauncher : public Port {
public:
    /// Starts the program with this application's environment and the variables of `environment`,
    /// which nobody but this user's processes can read; the error is the platform's description of
    /// why it could not be started.
    [[nodiscard]] virtual tl::expected<std::unique_ptr<ChildProcess>, QString>
    launch(const QString& program, const QStringList& arguments, const Environment& environment,
           ChildHandlers handlers) = 0;

    /// Runs a program to its end with its output discarded, at most `seconds`; its exit status, or
    /// nothing when it could not be run or did not end.
    [[nodiscard]] virtual std::optional<int> run(const QString& program,
                                                 const QStringList& arguments, double seconds) = 0;

    /// Whether this process alone listens on the TCP port of 127.0.0.1: with SO_REUSEPORT two
    /// programs can listen on one port and share its connections.
    [[nodiscard]] virtual bool ownsListeningPort(qint64 pid, quint16 port) const = 0;

    /// The TCP port itself if nobody listens on it at 127.0.0.1, else another that is free at the
    /// moment; nothing when none can be had.
    [[nodiscard]] virtual std::optional<quint16> freePort(quint16 wanted) const = 0;

    /// Physical cores that this application may use; at least 1.
    [[nodiscard]] virtual int computingCores() const = 0;
    /// The folder of this application's own copies of programs and data; no trailing slash.
    [[nodiscard]] virtual QString resourceFolder() const = 0;
};

} // namespace murlo
