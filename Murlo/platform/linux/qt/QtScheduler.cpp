#include "platform/linux/qt/QtScheduler.h"

#include <QPointer>
#include <QSocketNotifier>
#include <QThread>
#include <QTimer>

#include <ctime>
#include <semaphore>

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
        // A coarse timer may fire up to 5 % early.
        m_timer->setTimerType(Qt::PreciseTimer);
        QObject::connect(m_timer, &QTimer::timeout, m_timer,
                         [timer = m_timer, repeating, work = std::move(work)] {
                             const Work tick = work; // a copy that survives a cancel from inside
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

class ThreadQueue : public SerialQueue {
public:
    explicit ThreadQueue(const QString& label) {
        m_thread.setObjectName(label.section(QLatin1Char('.'), -1)); // the kernel keeps 15 bytes
        m_thread.start();
    }
    ~ThreadQueue() override {
        // Work is run in order, so this quits behind everything queued before it.
        ThreadQueue::sync([this] { m_thread.quit(); });
        m_thread.wait();
    }

    void async(Work work) override { m_inbox.push(std::move(work)); }
    void sync(Work work) override {
        std::binary_semaphore done(0);
        async([&] {
            work();
            done.release();
        });
        done.acquire();
    }
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override {
        return ScheduledWork(std::make_shared<TimerEntry>(seconds, false, std::move(work)));
    }

private:
    class Thread : public QThread {
    public:
        explicit Thread(WorkInbox& inbox)
            : m_inbox(inbox) {}

    protected:
        void run() override {
            const auto receiving = m_inbox.receive();
            exec();
        }

    private:
        WorkInbox& m_inbox;
    };

    WorkInbox m_inbox;
    Thread m_thread{m_inbox};
};

} // namespace

QtScheduler::QtScheduler()
    : m_receiving(m_inbox.receive()) {}

QtScheduler::~QtScheduler() = default;

QDateTime QtScheduler::now() const {
    return QDateTime::currentDateTime();
}

double QtScheduler::uptime() const {
    // Includes time asleep, so that a deadline set before a suspend has passed after it.
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
    m_inbox.push(std::move(work));
}

void QtScheduler::background(Work work) {
    m_pool.start(std::move(work));
}

std::unique_ptr<SerialQueue> QtScheduler::makeSerialQueue(const QString& label) {
    return std::make_unique<ThreadQueue>(label);
}

} // namespace murlo
