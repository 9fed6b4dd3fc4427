#pragma once

#include "platform/Scheduler.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <thread>

namespace murlo {

/// Real threads made of the standard library alone, which thread sanitizers see through (they know
/// nothing of what an event loop of Qt's orders). The thread that made it is the main one and runs
/// its turns in `runPending`. Delays are dropped: nothing comes later.
class ThreadScheduler : public Scheduler {
public:
    [[nodiscard]] QDateTime now() const override { return QDateTime::currentDateTime(); }
    [[nodiscard]] double uptime() const override {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
            .count();
    }
    [[nodiscard]] ScheduledWork after(double /*seconds*/, Work /*work*/) override { return {}; }
    [[nodiscard]] ScheduledWork every(double /*seconds*/, Work /*work*/) override { return {}; }
    void nextTurn(Work work) override { m_main.push(std::move(work)); }
    void background(Work work) override { m_pool.async(std::move(work)); }
    [[nodiscard]] std::unique_ptr<SerialQueue> makeSerialQueue(const QString& /*label*/) override {
        return std::make_unique<Queue>();
    }

    /// Runs what the main thread has to do now.
    void runPending() {
        while (const Work work = m_main.pop(false)) work();
    }

private:
    class Line {
    public:
        void push(Work work) {
            {
                const std::lock_guard guard(m_lock);
                m_works.push_back(std::move(work));
            }
            m_pushed.notify_one();
        }
        /// The next work; none when there is none, or when an empty one was pushed.
        Work pop(bool wait) {
            std::unique_lock guard(m_lock);
            if (wait) m_pushed.wait(guard, [this] { return !m_works.empty(); });
            if (m_works.empty()) return {};
            Work work = std::move(m_works.front());
            m_works.pop_front();
            return work;
        }

    private:
        std::mutex m_lock;
        std::condition_variable m_pushed;
        std::deque<Work> m_works;
    };

    class Queue : public SerialQueue {
    public:
        ~Queue() override {
            m_line.push({});
            m_thread.join();
        }
        void async(Work work) override { m_line.push(std::move(work)); }
        void sync(Work work) override {
            std::promise<void> done;
            m_line.push([&] {
                work();
                done.set_value();
            });
            done.get_future().wait();
        }
        [[nodiscard]] ScheduledWork after(double /*seconds*/, Work /*work*/) override { return {}; }

    private:
        Line m_line;
        std::thread m_thread{[this] {
            while (const Work work = m_line.pop(true)) work();
        }};
    };

    Line m_main;
    Queue m_pool;
};

} // namespace murlo
