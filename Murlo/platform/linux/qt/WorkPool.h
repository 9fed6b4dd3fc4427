#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace murlo {

/// Threads for background work, created on demand and kept; idle ones block without waking up. The
/// destructor runs queued work and joins them.
class WorkPool : NonCopyable {
public:
    ~WorkPool();

    /// Queues `work`. Any thread.
    void start(Work work);

private:
    void run();

    std::mutex m_lock;
    std::condition_variable m_wanted;
    std::deque<Work> m_work;
    std::vector<std::thread> m_threads;
    std::size_t m_idle = 0;
    bool m_ending = false;
};

} // namespace murlo
