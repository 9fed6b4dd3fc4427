#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "platform/linux/threads/Bell.h"

#include <deque>
#include <memory>
#include <mutex>

class QSocketNotifier;

namespace murlo {

/// Work handed to a thread with a Qt event loop, run there in the order in which it came, one piece
/// a turn. Everything shared stands behind a standard mutex, so that a thread checker can follow
/// it; the receiver is woken through a descriptor of its own.
class WorkInbox : NonCopyable {
public:
    /// Any thread.
    void push(Work work);

    /// Makes the calling thread the one that runs the work, for as long as the result is held.
    [[nodiscard]] std::unique_ptr<QSocketNotifier> receive();

private:
    void runOne();

    Bell m_bell;
    std::mutex m_lock;
    std::deque<Work> m_work;
};

} // namespace murlo
