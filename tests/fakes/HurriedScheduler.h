#pragma once

#include "platform/Scheduler.h"

namespace murlo {

/// The given scheduler with its delays on the main thread and on queues cut to a fraction: the
/// order of events stays, minutes of waiting become seconds. For tests that run real programs.
class HurriedScheduler : public Scheduler {
public:
    HurriedScheduler(Scheduler& scheduler, double fraction)
        : m_scheduler(scheduler)
        , m_fraction(fraction) {}

    [[nodiscard]] QDateTime now() const override { return m_scheduler.now(); }
    [[nodiscard]] double uptime() const override { return m_scheduler.uptime(); }
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
        return m_scheduler.after(seconds * m_fraction, std::move(work));
    }
    [[nodiscard]] ScheduledWork every(double seconds, Work work) override {
        return m_scheduler.every(seconds * m_fraction, std::move(work));
    }
    void nextTurn(Work work) override { m_scheduler.nextTurn(std::move(work)); }
    void background(Work work) override { m_scheduler.background(std::move(work)); }
    [[nodiscard]] std::unique_ptr<SerialQueue> makeSerialQueue(const QString& label) override {
        return std::make_unique<Queue>(m_scheduler.makeSerialQueue(label), m_fraction);
    }

private:
    class Queue : public SerialQueue {
    public:
        Queue(std::unique_ptr<SerialQueue> queue, double fraction)
            : m_queue(std::move(queue))
            , m_fraction(fraction) {}
        void async(Work work) override { m_queue->async(std::move(work)); }
        void sync(Work work) override { m_queue->sync(std::move(work)); }
        [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
            return m_queue->after(seconds * m_fraction, std::move(work));
        }

    private:
        std::unique_ptr<SerialQueue> m_queue;
        double m_fraction;
    };

    Scheduler& m_scheduler;
    double m_fraction;
};

} // namespace murlo
