#pragma once

#include "platform/Port.h"

#include <QStringList>

#include <functional>

namespace murlo {

/// One Murlo per user session: the first start holds a lock; later ones hand their arguments over.
/// Main thread.
class SingleInstance : public Port {
public:
    /// What becomes of a start.
    enum class Start {
        first,      ///< this process is now the one
        handedOver, ///< another is, and has taken the arguments
        unanswered, ///< another is, and neither takes them nor ends
    };
    /// Waits at most 2 s for the other's answer, and at most 10 s for the end of one that is
    /// ending.
    [[nodiscard]] virtual Start acquire(const QStringList& arguments) = 0;
    /// This process is about to end: a later start waits for that, rather than hand over its
    /// arguments to somebody who will not act on them.
    virtual void beginEnding() = 0;
    /// Gives the lock up early, for a restart.
    virtual void release() = 0;

    /// A later start handed over its arguments.
    std::function<void(const QStringList&)> onOpenedAgain;
};

} // namespace murlo
