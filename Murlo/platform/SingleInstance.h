#pragma once

#include <QStringList>

#include <functional>

namespace murlo {

/// One Murlo per user session: the first start holds a lock; later ones hand their arguments over.
/// Main thread.
class SingleInstance {
public:
    SingleInstance() = default;
    SingleInstance(const SingleInstance&) = delete;
    SingleInstance& operator=(const SingleInstance&) = delete;
    virtual ~SingleInstance() = default;

    /// True when this process is now the one; false when another holds the lock, in which case
    /// `arguments` were handed to it (waiting at most 2 s for it).
    [[nodiscard]] virtual bool acquire(const QStringList& arguments) = 0;
    /// Gives the lock up early, for a restart.
    virtual void release() = 0;

    /// A later start handed over its arguments.
    std::function<void(const QStringList&)> onOpenedAgain;
};

} // namespace murlo
