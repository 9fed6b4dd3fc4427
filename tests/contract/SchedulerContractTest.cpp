#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QTest>
#include <QThread>

#include <atomic>

using namespace murlo;

namespace {

/// A scheduler, and how its time is made to pass.
struct Subject {
    std::unique_ptr<Scheduler> scheduler;
    std::function<bool(std::function<bool()>)> until;
};

Subject subject(const QString& kind) {
    if (kind == QLatin1String("virtual")) {
        auto scheduler = std::make_unique<VirtualScheduler>();
        auto* time = scheduler.get();
        return {std::move(scheduler), [time](const std::function<bool()>& condition) {
                    for (int step = 0; step < 5000 && !condition(); ++step) time->advance(0.001);
                    return condition();
                }};
    }
    return {std::make_unique<QtScheduler>(), [](const std::function<bool()>& condition) {
                return QTest::qWaitFor(condition, 10000);
            }};
}

} // namespace

class SchedulerContractTest : public QObject {
    Q_OBJECT

private:
    static void kinds() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("virtual") << "virtual";
        QTest::newRow("Qt") << "Qt";
    }

private Q_SLOTS:
    void delayedWorkRunsOnceInTheOrderOfItsTimesAndNeverEarly_data() { kinds(); }
    void delayedWorkRunsOnceInTheOrderOfItsTimesAndNeverEarly() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        QStringList order;
        const double start = on.scheduler->uptime();
        double ranAt = 0;
        const ScheduledWork late = on.scheduler->after(0.08, [&] {
            order.append("late");
            ranAt = on.scheduler->uptime();
        });
        const ScheduledWork soon = on.scheduler->after(0.02, [&] { order.append("soon"); });
        on.scheduler->nextTurn([&] { order.append("now"); });
        QVERIFY(order.isEmpty()); // nothing runs inside the call
        QVERIFY(on.until([&] { return order.size() == 3; }));
        QCOMPARE(order, (QStringList{"now", "soon", "late"}));
        QVERIFY(ranAt - start >= 0.079);
        QVERIFY(!late.isPending());
    }

    void noTimerIsEarly_data() { kinds(); }
    void noTimerIsEarly() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        std::vector<ScheduledWork> timers;
        int outstanding = 0;
        QStringList early;
        for (int milliseconds = 55; milliseconds < 1000; milliseconds += 21) {
            const double due = on.scheduler->uptime() + milliseconds / 1000.0;
            ++outstanding;
            timers.push_back(on.scheduler->after(milliseconds / 1000.0, [&, milliseconds, due] {
                if (on.scheduler->uptime() < due - 1e-6) early << QString::number(milliseconds);
                --outstanding;
            }));
        }
        QVERIFY(on.until([&] { return outstanding == 0; }));
        QCOMPARE(early, QStringList());
    }

    void whatIsCancelledDestroyedOrReplacedNeverRuns_data() { kinds(); }
    void whatIsCancelledDestroyedOrReplacedNeverRuns() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        int wrong = 0;
        bool done = false;
        ScheduledWork cancelled = on.scheduler->after(0.01, [&] { ++wrong; });
        ScheduledWork replaced = on.scheduler->after(0.01, [&] { ++wrong; });
        {
            const ScheduledWork destroyed = on.scheduler->every(0.01, [&] { ++wrong; });
        }
        QVERIFY(cancelled.isPending());
        cancelled.cancel();
        QVERIFY(!cancelled.isPending());
        replaced = on.scheduler->after(0.05, [&] { done = true; });
        QVERIFY(on.until([&] { return done; }));
        QCOMPARE(wrong, 0);
    }

    void repeatingWorkMayCancelItself_data() { kinds(); }
    void repeatingWorkMayCancelItself() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        int ticks = 0;
        bool done = false;
        ScheduledWork timer = on.scheduler->every(0.01, [&] {
            if (++ticks == 3) timer.cancel();
        });
        const ScheduledWork end = on.scheduler->after(0.1, [&] { done = true; });
        QVERIFY(on.until([&] { return done; }));
        QCOMPARE(ticks, 3);
    }

    void guardedWorkDiesWithItsOwner_data() { kinds(); }
    void guardedWorkDiesWithItsOwner() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        int wrong = 0;
        bool done = false;
        {
            const Lifetime owner;
            on.scheduler->nextTurn(owner.guard([&] { ++wrong; }));
        }
        on.scheduler->nextTurn([&] { done = true; });
        QVERIFY(on.until([&] { return done; }));
        QCOMPARE(wrong, 0);
    }

    void aSerialQueueKeepsItsOrder_data() { kinds(); }
    void aSerialQueueKeepsItsOrder() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        QStringList order; // touched on the queue alone until the last sync
        {
            const auto queue = on.scheduler->makeSerialQueue("test.queue");
            for (int i = 0; i < 100; ++i)
                queue->async([&, i] { order.append(QString::number(i)); });
            queue->sync([&] { order.append("sync"); });
            QCOMPARE(order.size(), 101);
            QCOMPARE(order.last(), "sync");
            ScheduledWork delayed;
            std::atomic<bool> ran = false;
            queue->async([&] { delayed = queue->after(0.01, [&] { ran = true; }); });
            QVERIFY(on.until([&] { return ran.load(); }));
            queue->sync([&] { delayed.cancel(); });
            queue->async([&] { order.append("drained"); });
        }
        QCOMPARE(order.last(), "drained");
        for (int i = 0; i < 100; ++i) QCOMPARE(order.at(i).toInt(), i);
    }

    void backgroundWorkComesBackThroughTheNextTurn_data() { kinds(); }
    void backgroundWorkComesBackThroughTheNextTurn() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        QThread* answeredOn = nullptr;
        for (int i = 0; i < 8; ++i) {
            on.scheduler->background(
                [&] { on.scheduler->nextTurn([&] { answeredOn = QThread::currentThread(); }); });
        }
        QVERIFY(on.until([&] { return answeredOn != nullptr; }));
        QCOMPARE(answeredOn, QThread::currentThread());
        QVERIFY(on.until([] { return true; }));
    }
};

QTEST_GUILESS_MAIN(SchedulerContractTest)
#include "SchedulerContractTest.moc"
