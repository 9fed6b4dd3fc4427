#pragma once

#include "platform/Scheduler.h"

#include <deque>
#include <map>
#include <vector>

namespace murlo {

/// A scheduler whose time moves by hand. Main thread, background jobs and serial queues all run on
/// the test's own thread, in the order in which they became due, and only inside `runPending` and
/// `advance`: the same test gives the same interleaving every time.
class VirtualScheduler : public Scheduler {
public:
    [[nodiscard]] QDateTime now() const override {
        return m_start.addMSecs(std::llround(m_time * 1000));
    }
    [[nodiscard]] double uptime() const override { return m_uptimeAtStart + m_time; }
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
        return schedule(seconds, 0, std::move(work));
    }
    [[nodiscard]] ScheduledWork every(double seconds, Work work) override {
        return schedule(seconds, seconds, std::move(work));
    }
    void nextTurn(Work work) override { enqueue(std::move(work)); }
    void background(Work work) override { enqueue(std::move(work)); }
    [[nodiscard]] std::unique_ptr<SerialQueue> makeSerialQueue(const QString& label) override;

    /// Runs what is due now, and what that makes due, until nothing is.
    void runPending();
    /// Moves time forward, running everything on its way at its own moment.
    void advance(double seconds);
    /// Timers that are still to fire: what an idle application leaves ticking.
    [[nodiscard]] int pendingTimers() const;

private:
    friend class VirtualSerialQueue;
    struct Timer;

    void enqueue(Work work) { m_ready.push_back(std::move(work)); }
    ScheduledWork schedule(double seconds, double period, Work work);

    const QDateTime m_start{QDate(2026, 3, 14), QTime(15, 9, 26), Qt::UTC};
    double m_uptimeAtStart = 1000;
    double m_time = 0;
    qint64 m_order = 0;
    std::deque<Work> m_ready;
    std::map<std::pair<double, qint64>, std::shared_ptr<Timer>> m_timers;
};

} // namespace murlo
