#pragma once

#include "platform/Port.h"

#include <QDateTime>
#include <QString>

#include <functional>
#include <memory>

namespace murlo {

using Work = std::function<void()>;

/// A timer or delayed piece of work, owned by whoever asked for it: destroying, cancelling or
/// reassigning the handle means that the work never runs (again). Move-only; use it only on the
/// thread (or serial queue) that created it.
class ScheduledWork {
public:
    /// The scheduler's state behind the handle.
    class Entry : public Port {
    public:
        virtual void cancel() = 0;
        [[nodiscard]] virtual bool isPending() const = 0;
    };

    ScheduledWork() = default;
    explicit ScheduledWork(std::shared_ptr<Entry> entry)
        : m_entry(std::move(entry)) {}
    ScheduledWork(ScheduledWork&&) noexcept = default;
    ScheduledWork& operator=(ScheduledWork&& other) noexcept {
        if (this != &other) {
            cancel();
            m_entry = std::move(other.m_entry);
        }
        return *this;
    }
    ~ScheduledWork() { cancel(); }

    /// Safe to call from inside the work itself, and more than once.
    void cancel() {
        if (auto entry = std::exchange(m_entry, nullptr)) entry->cancel();
    }

    /// True from the request until the work has run (one-shot) or was cancelled.
    [[nodiscard]] bool isPending() const { return m_entry && m_entry->isPending(); }

private:
    std::shared_ptr<Entry> m_entry;
};

/// A queue that runs its work one piece at a time, in order, on a thread of its own which has a Qt
/// event loop. Destroying it runs what was queued, drops what was delayed, and joins the thread.
class SerialQueue : public Port {
public:
    /// Runs `work` after everything queued before it. Any thread.
    virtual void async(Work work) = 0;

    /// Runs `work` after everything queued before it and returns when it has run. Any thread but
    /// the queue's own, where it would wait for itself.
    virtual void sync(Work work) = 0;

    /// Runs `work` on the queue once `seconds` have passed. Call it on the queue.
    [[nodiscard]] virtual ScheduledWork after(double seconds, Work work) = 0;
};

/// Time and threads: every clock that is read and every timer, delay, deadline and background job
/// goes through here, so that tests can move time by hand.
class Scheduler : public Port {
public:
    /// The wall clock, local time. Any thread.
    [[nodiscard]] virtual QDateTime now() const = 0;

    /// Seconds since boot on a clock that never goes backwards. Any thread.
    [[nodiscard]] virtual double uptime() const = 0;

    /// Runs `work` on the main thread once `seconds` have passed. Main thread.
    [[nodiscard]] virtual ScheduledWork after(double seconds, Work work) = 0;

    /// Runs `work` on the main thread every `seconds`, first after one period. Ticks missed while
    /// the main thread is busy are dropped. Main thread.
    [[nodiscard]] virtual ScheduledWork every(double seconds, Work work) = 0;

    /// Runs `work` on a later turn of the main thread's loop, in the order of the calls. Any
    /// thread.
    virtual void nextTurn(Work work) = 0;

    /// Runs `work` on a pool thread. Any thread.
    virtual void background(Work work) = 0;

    /// A new serial queue; the label names its thread.
    [[nodiscard]] virtual std::unique_ptr<SerialQueue> makeSerialQueue(const QString& label) = 0;
};

/// Schedules work on one thread: `Scheduler::after` on the main thread, or a serial queue's
/// `after`. For classes that are used on either.
using Delay = std::function<ScheduledWork(double seconds, Work work)>;

/// Ties callbacks to the life of their owner: a function wrapped by `guard` does nothing once the
/// `Lifetime` is gone. Keep it as the owner's last member; wrapped functions run on the thread
/// that destroys the owner.
class Lifetime {
public:
    template <typename Function>
    [[nodiscard]] auto guard(Function function) const {
        return [alive = std::weak_ptr<int>(m_alive),
                function = std::move(function)](auto&&... arguments) mutable {
            if (!alive.expired()) function(std::forward<decltype(arguments)>(arguments)...);
        };
    }

private:
    std::shared_ptr<int> m_alive = std::make_shared<int>(0);
};

} // namespace murlo
