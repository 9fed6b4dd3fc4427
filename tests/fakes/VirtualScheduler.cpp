#include "tests/fakes/VirtualScheduler.h"

#include <algorithm>

namespace murlo {

struct VirtualScheduler::Timer : ScheduledWork::Entry {
    void cancel() override {
        pending = false;
        work = nullptr;
    }
    [[nodiscard]] bool isPending() const override { return pending; }

    Work work;
    double period = 0; ///< 0 for one-shot work
    bool pending = true;
};

/// Its work goes into the scheduler's one line of ready work, which keeps the queue's own order.
class VirtualSerialQueue : public SerialQueue {
public:
    explicit VirtualSerialQueue(VirtualScheduler& scheduler)
        : m_scheduler(scheduler) {}
    ~VirtualSerialQueue() override { drain(); }

    void async(Work work) override {
        m_queue->push_back(std::move(work));
        m_scheduler.enqueue([queue = m_queue] { runFirst(*queue); });
    }
    void sync(Work work) override {
        drain();
        work();
    }
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
        return m_scheduler.after(seconds, std::move(work));
    }

private:
    static void runFirst(std::deque<Work>& queue) {
        if (queue.empty()) return;
        const Work work = std::move(queue.front());
        queue.pop_front();
        work();
    }
    void drain() {
        while (!m_queue->empty()) runFirst(*m_queue);
    }

    VirtualScheduler& m_scheduler;
    std::shared_ptr<std::deque<Work>> m_queue = std::make_shared<std::deque<Work>>();
};

ScheduledWork VirtualScheduler::schedule(double seconds, double period, Work work) {
    auto timer = std::make_shared<Timer>();
    timer->work = std::move(work);
    timer->period = period;
    m_timers.emplace(std::pair(m_time + std::max(seconds, 0.0), m_order++), timer);
    return ScheduledWork(timer);
}

std::unique_ptr<SerialQueue> VirtualScheduler::makeSerialQueue(const QString& /*label*/) {
    return std::make_unique<VirtualSerialQueue>(*this);
}

void VirtualScheduler::runPending() {
    for (;;) {
        while (!m_ready.empty()) {
            const Work work = std::move(m_ready.front());
            m_ready.pop_front();
            work();
        }
        if (m_timers.empty() || m_timers.begin()->first.first > m_time + 1e-9) return;
        const auto timer = m_timers.begin()->second;
        const double due = m_timers.begin()->first.first;
        m_timers.erase(m_timers.begin());
        if (!timer->pending) continue;
        timer->pending = timer->period > 0;
        if (timer->pending) m_timers.emplace(std::pair(due + timer->period, m_order++), timer);
        // The work may cancel its own timer; what a last one holds goes with it.
        const Work work = timer->pending ? timer->work : std::move(timer->work);
        work();
    }
}

void VirtualScheduler::advance(double seconds) {
    const double target = m_time + seconds;
    runPending();
    while (!m_timers.empty() && m_timers.begin()->first.first <= target + 1e-9) {
        m_time = std::max(m_time, m_timers.begin()->first.first);
        runPending();
    }
    m_time = target;
    runPending();
}

int VirtualScheduler::pendingTimers() const {
    return static_cast<int>(
        std::ranges::count_if(m_timers, [](const auto& entry) { return entry.second->pending; }));
}

} // namespace murlo
