#pragma once

#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace murlo {

/// Threads for work in the background, made when they are first needed and kept; idle ones wait
/// without waking up. Destruction runs what was handed in and joins them.
class WorkPool : NonCopyable {
public:
    ~WorkPool();

    /// Any thread.
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
