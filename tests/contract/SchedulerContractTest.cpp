#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QTest>
#include <QThread>

#include <algorithm>
#include <atomic>

using namespace murlo;

/// On virtual time and on real threads alike.
class SchedulerContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Scheduler> m_scheduler;

    /// Lets time pass until the condition holds.
    bool until(const std::function<bool()>& condition) {
        auto* time = dynamic_cast<VirtualScheduler*>(m_scheduler.get());
        if (!time) return QTest::qWaitFor(condition, 10000);
        for (int step = 0; step < 5000 && !condition(); ++step) time->advance(0.001);
        return condition();
    }

private Q_SLOTS:
    void initTestCase_data() { // for each of the tests
        QTest::addColumn<bool>("isVirtual");
        QTest::newRow("virtual") << true;
        QTest::newRow("Qt") << false;
    }
    void init() {
        QFETCH_GLOBAL(bool, isVirtual);
        if (isVirtual)
            m_scheduler = std::make_unique<VirtualScheduler>();
        else
            m_scheduler = std::make_unique<QtScheduler>();
    }

    void delayedWorkRunsOnceInTheOrderOfItsTimesAndNeverEarly() {
        QList<int> order;
        QStringList early;
        std::vector<ScheduledWork> timers;
        for (int milliseconds = 979; milliseconds > 50;
             milliseconds -= 21) { // the last comes first
            const double due = m_scheduler->uptime() + milliseconds / 1000.0;
            timers.push_back(m_scheduler->after(milliseconds / 1000.0, [&, milliseconds, due] {
                if (m_scheduler->uptime() < due - 1e-6) early << QString::number(milliseconds);
                order.append(milliseconds);
            }));
        }
        m_scheduler->nextTurn([&] { order.append(0); });
        QVERIFY(order.isEmpty()); // nothing runs inside the call
        QVERIFY(until([&] { return order.contains(979); }));
        QCOMPARE(order.size(), qsizetype(timers.size()) + 1);
        QVERIFY(std::ranges::is_sorted(order));
        QCOMPARE(early, QStringList());
        for (const ScheduledWork& timer : timers) QVERIFY(!timer.isPending());
    }

    void workEndsWithItsHandleAndWithItsOwner() {
        int wrong = 0;
        int ticks = 0;
        bool done = false;
        ScheduledWork cancelled = m_scheduler->after(0.01, [&] { ++wrong; });
        ScheduledWork replaced = m_scheduler->after(0.01, [&] { ++wrong; });
        ScheduledWork ending = m_scheduler->every(0.01, [&] {
            if (++ticks == 3) ending.cancel();
        });
        {
            const ScheduledWork destroyed = m_scheduler->every(0.01, [&] { ++wrong; });
            const Lifetime owner;
            m_scheduler->nextTurn(owner.guard([&] { ++wrong; }));
        }
        QVERIFY(cancelled.isPending());
        cancelled.cancel();
        QVERIFY(!cancelled.isPending());
        replaced = m_scheduler->after(0.1, [&] { done = true; });
        QVERIFY(until([&] { return done && ticks >= 3; }));
        QCOMPARE(wrong, 0);
        QCOMPARE(ticks, 3);
        QVERIFY(!ending.isPending());
    }

    void aSerialQueueKeepsItsOrder() {
        QList<int> order; // touched on the queue alone until the last sync
        {
            const auto queue = m_scheduler->makeSerialQueue("test.queue");
            for (int i = 0; i < 100; ++i) queue->async([&, i] { order.append(i); });
            queue->sync([&] { order.append(100); });
            QCOMPARE(order.size(), 101);
            QCOMPARE(order.last(), 100);
            ScheduledWork delayed;
            std::atomic<bool> ran = false;
            queue->async([&] { delayed = queue->after(0.01, [&] { ran = true; }); });
            QVERIFY(until([&] { return ran.load(); }));
            queue->sync([&] { delayed.cancel(); });
            queue->async([&] { order.append(101); });
        }
        QCOMPARE(order.size(), 102); // what was queued has run
        QVERIFY(std::ranges::is_sorted(order));
    }

    void backgroundWorkComesBackThroughTheNextTurn() {
        QList<QThread*> answeredOn;
        const auto answer = [&] { answeredOn.append(QThread::currentThread()); };
        for (int i = 0; i < 8; ++i) m_scheduler->background([&] { m_scheduler->nextTurn(answer); });
        QVERIFY(until([&] { return answeredOn.size() == 8; }));
        QCOMPARE(answeredOn, QList<QThread*>(8, QThread::currentThread()));
    }
};

QTEST_GUILESS_MAIN(SchedulerContractTest)
#include "SchedulerContractTest.moc"
