#include "platform/linux/qt/WorkPool.h"

namespace murlo {

namespace {
constexpr std::size_t mostThreads = 8; ///< what is done here waits more than it computes
}

WorkPool::~WorkPool() {
    {
        const std::lock_guard guard(m_lock);
        m_ending = true;
    }
    m_wanted.notify_all();
    for (std::thread& thread : m_threads) thread.join();
}

void WorkPool::start(Work work) {
    const std::lock_guard guard(m_lock);
    m_work.push_back(std::move(work));
    if (m_work.size() > m_idle && m_threads.size() < mostThreads)
        m_threads.emplace_back([this] { run(); });
    m_wanted.notify_one();
}

void WorkPool::run() {
    std::unique_lock lock(m_lock);
    while (true) {
        ++m_idle;
        m_wanted.wait(lock, [this] { return m_ending || !m_work.empty(); });
        --m_idle;
        if (m_work.empty()) return;
        Work work = std::move(m_work.front());
        m_work.pop_front();
        lock.unlock();
        work();
        work = nullptr; // what it holds goes on this thread, outside the lock
        lock.lock();
    }
}

} // namespace murlo
