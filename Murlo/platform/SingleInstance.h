#pragma once

#include "platform/Port.h"

#include <QStringList>

#include <functional>

#include <tl/expected.hpp>

namespace murlo {

/// One Murlo per user session: the first start holds a lock; later ones hand their arguments over.
/// Main thread.
class SingleInstance : public Port {
public:
    /// The result of a start.
    enum class Start {
        first,      ///< this process is now the only instance
        handedOver, ///< another instance runs and has taken the arguments
        unanswered, ///< another instance runs, but neither answers nor ends
    };
    /// Blocks at most 2 s for the other instance's answer, and at most 10 s for it to end if it is
    /// shutting down.
    [[nodiscard]] virtual Start acquire(const QStringList& arguments) = 0;
    /// This process is shutting down: a later start waits for its end instead of handing its
    /// arguments over.
    virtual void beginEnding() = 0;
    /// Gives the lock up early, for a restart.
    virtual void release() = 0;
    /// Starts this program once more, from where it was when this process began; the new process
    /// outlives this one. Or the platform's description of why it could not be started.
    [[nodiscard]] virtual tl::expected<void, QString>
    startAnother(const QStringList& arguments) = 0;
    /// Whether another process of the user's has the lock now. Never waits.
    [[nodiscard]] virtual bool isHeldByAnother() const = 0;
    /// Blocks until a process has ended, at most so many seconds; true when it is gone.
    [[nodiscard]] virtual bool awaitEnd(qint64 pid, double seconds) const = 0;

    /// A later start handed over its arguments.
    std::function<void(const QStringList&)> onOpenedAgain;
};

} // namespace murlo
