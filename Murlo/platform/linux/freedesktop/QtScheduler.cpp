#include "platform/linux/freedesktop/QtScheduler.h"

#include <QPointer>
#include <QThread>
#include <QThreadPool>
#include <QTimer>

#include <ctime>
#include <deque>
#include <future>
#include <mutex>

namespace murlo {

namespace {

/// Milliseconds for a timer, never early: rounded up.
int toMilliseconds(double seconds) {
    return static_cast<int>(std::ceil(std::max(seconds, 0.0) * 1000.0 - 1e-6));
}

/// A QTimer of the calling thread behind a handle. The timer is deleted later, so that cancelling
/// from inside the work is safe.
class TimerEntry : public ScheduledWork::Entry {
public:
    TimerEntry(double seconds, bool repeating, Work work)
        : m_timer(new QTimer) {
        m_timer->setSingleShot(!repeating);
        // Coarse timers let the kernel join wake-ups; what is shorter than 50 ms needs the
        // precision.
        m_timer->setTimerType(seconds < 0.05 ? Qt::PreciseTimer : Qt::CoarseTimer);
        QObject::connect(m_timer, &QTimer::timeout, m_timer,
                         [timer = m_timer, repeating, work = std::move(work)] {
                             const Work tick = work; // outlives a cancel from inside
                             if (!repeating) timer->deleteLater();
                             tick();
                         });
        m_timer->start(toMilliseconds(seconds));
    }
    ~TimerEntry() override { TimerEntry::cancel(); }

    void cancel() override {
        if (!m_timer) return;
        m_timer->stop();
        m_timer->disconnect();
        m_timer->deleteLater();
        m_timer.clear();
    }
    [[nodiscard]] bool isPending() const override { return m_timer && m_timer->isActive(); }

private:
    QPointer<QTimer> m_timer;
};

/// Work handed from thread to thread. Qt carries only the wake-up: what is shared goes through a
/// standard mutex, which a thread checker can follow.
class WorkLine {
public:
    void push(Work work) {
        const std::lock_guard guard(m_lock);
        m_work.push_back(std::move(work));
    }
    /// Runs the oldest piece, if any.
    void runOne() {
        Work work;
        {
            const std::lock_guard guard(m_lock);
            if (m_work.empty()) return;
            work = std::move(m_work.front());
            m_work.pop_front();
        }
        work();
    }

private:
    std::mutex m_lock;
    std::deque<Work> m_work;
};

class ThreadQueue : public SerialQueue {
public:
    explicit ThreadQueue(const QString& label) {
        m_thread.setObjectName(label.section(QLatin1Char('.'), -1)); // the kernel keeps 15 letters
        m_context.moveToThread(&m_thread);
        m_thread.start();
    }
    ~ThreadQueue() override {
        // Work is run in order, so this quits behind everything queued before it.
        std::promise<void> emptied;
        ThreadQueue::async([&] {
            emptied.set_value();
            m_thread.quit();
        });
        emptied.get_future().wait();
        m_thread.wait();
    }

    void async(Work work) override {
        m_line.push(std::move(work));
        QMetaObject::invokeMethod(
            &m_context, [this] { m_line.runOne(); }, Qt::QueuedConnection);
    }
    void sync(Work work) override {
        std::promise<void> done;
        async([&] {
            work();
            done.set_value();
        });
        done.get_future().wait();
    }
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
        return ScheduledWork(std::make_shared<TimerEntry>(seconds, false, std::move(work)));
    }

private:
    WorkLine m_line;
    QThread m_thread;
    QObject m_context;
};

} // namespace

/// The lines of the main thread and of the pool, and the object whose thread is the main one.
struct QtScheduler::Lines {
    QObject mainThread;
    WorkLine main;
    WorkLine pool;
};

QtScheduler::QtScheduler()
    : m_lines(std::make_shared<Lines>()) {}

QtScheduler::~QtScheduler() {
    QThreadPool::globalInstance()->waitForDone();
}

QDateTime QtScheduler::now() const {
    return QDateTime::currentDateTime();
}

double QtScheduler::uptime() const {
    // Counts while the computer sleeps, so that a deadline set before a sleep has passed after it.
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

ScheduledWork QtScheduler::after(double seconds, Work work) {
    return ScheduledWork(std::make_shared<TimerEntry>(seconds, false, std::move(work)));
}

ScheduledWork QtScheduler::every(double seconds, Work work) {
    return ScheduledWork(std::make_shared<TimerEntry>(seconds, true, std::move(work)));
}

void QtScheduler::nextTurn(Work work) {
    m_lines->main.push(std::move(work));
    QMetaObject::invokeMethod(
        &m_lines->mainThread, [lines = m_lines.get()] { lines->main.runOne(); },
        Qt::QueuedConnection);
}

void QtScheduler::background(Work work) {
    m_lines->pool.push(std::move(work));
    QThreadPool::globalInstance()->start([lines = m_lines] { lines->pool.runOne(); });
}

std::unique_ptr<SerialQueue> QtScheduler::makeSerialQueue(const QString& label) {
    return std::make_unique<ThreadQueue>(label);
}

} // namespace murlo
