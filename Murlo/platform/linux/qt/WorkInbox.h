#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "platform/linux/threads/Bell.h"

#include <deque>
#include <memory>
#include <mutex>

class QSocketNotifier;

namespace murlo {

/// A work queue for a thread with a Qt event loop, which runs it in order, one task per turn.
/// Shared state is guarded by a standard mutex, which thread sanitizers understand; the receiver is
/// woken through an eventfd.
class WorkInbox : NonCopyable {
public:
    /// Queues `work`. Any thread.
    void push(Work work);

    /// Makes the calling thread run the work, until the result is destroyed.
    [[nodiscard]] std::unique_ptr<QSocketNotifier> receive();

private:
    void runOne();

    Bell m_bell;
    std::mutex m_lock;
    std::deque<Work> m_work;
};

} // namespace murlo
