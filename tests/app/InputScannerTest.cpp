#include "hints/InputScanner.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

class InputScannerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void boxesOnTheScreen_data() {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("found");
        QFile file(QFINDTESTDATA("../data/boxes.txt"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QString name;
        QStringList lines;
        for (const QString& line : QString::fromUtf8(file.readAll()).split('\n')) {
            if (line.startsWith("case: ")) {
                name = line.mid(6);
                lines.clear();
            } else if (line.startsWith("found after ")) {
                QTest::newRow(qPrintable(name))
                    << lines << line.section(':', 0, 0).mid(12).toDouble()
                    << line.section(':', 1).trimmed();
            } else if (!line.isEmpty() && !line.startsWith('#')) {
                lines.append(line);
            }
        }
    }
    void boxesOnTheScreen() {
        QFETCH(QStringList, lines);
        QFETCH(double, seconds);
        QFETCH(QString, found);
        Rig rig(lines);
        std::optional<QString> got;
        rig.scanner.scan([&](const QList<InputTarget>& boxes) { got = rig.words(boxes); });
        if (seconds > 0) rig.scheduler.advance(seconds - 0.01);
        QVERIFY2(seconds == 0 || !got, "too early");
        rig.scheduler.advance(0.02);
        QVERIFY2(got, "too late");
        QCOMPARE(*got, found);
        QCOMPARE(rig.scheduler.pendingTimers(), 0);
    }

    void aFurtherScanEndsTheOneUnderWay() {
        Rig rig(
            {"application Mail after 0.3", "  window 0 0 800 600", "    AXTextField 10 10 200 24"});
        QStringList answers;
        rig.scanner.scan([&](const auto&) { answers.append("first"); });
        rig.scheduler.advance(0.2);
        rig.scanner.scan([&](const auto&) { answers.append("second"); });
        QCOMPARE(rig.tree.applications.at(10).underWay, 1);
        rig.scheduler.advance(7);
        QCOMPARE(answers, QStringList{"second"});
        rig.scanner.scan([&](const auto&) { answers.append("third"); });
        rig.scanner.cancel();
        QCOMPARE(rig.tree.applications.at(10).underWay, 0);
        rig.scheduler.advance(7);
        QCOMPARE(answers.size(), 1);
    }

    void ownWindowsOnlyOnRequest() {
        Rig rig({"application Murlo", "  window 0 0 800 600", "    AXTextField 10 10 200 24"}, 10);
        for (const bool include : {false, true}) {
            rig.scanner.includeOwnWindows = include;
            qsizetype count = -1;
            rig.scanner.scan([&](const QList<InputTarget>& boxes) { count = boxes.size(); });
            rig.scheduler.advance(1);
            QCOMPARE(count, include ? 1 : 0);
        }
    }

private:
    struct Rig {
        explicit Rig(const QStringList& lines, qint64 ownPid = 1)
            : tree(scheduler, lines)
            , scanner(
                  tree, applications, scheduler, [this] { return tree.screens; }, ownPid) {
            applications.windows = tree.shown;
            for (const auto& [pid, application] : tree.applications)
                applications.running[pid].name = application.name;
        }

        [[nodiscard]] static QString words(const QList<InputTarget>& boxes) {
            QStringList words;
            for (const InputTarget& box : boxes)
                words.append(QString("%1 %2 %3,%4")
                                 .arg(box.hint, box.appName)
                                 .arg(box.frame.x())
                                 .arg(box.frame.y()));
            return words.join(", ");
        }

        VirtualScheduler scheduler;
        FakeTree tree;
        FakeApplications applications;
        InputScanner scanner;
    };
};

QTEST_GUILESS_MAIN(InputScannerTest)
#include "InputScannerTest.moc"
