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
        for (const QString& line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
            if (line.startsWith(QLatin1String("case: "))) {
                name = line.mid(6);
                lines.clear();
            } else if (line.startsWith(QLatin1String("found after "))) {
                QTest::newRow(qPrintable(name))
                    << lines << line.section(QLatin1Char(':'), 0, 0).mid(12).toDouble()
                    << line.section(QLatin1Char(':'), 1).trimmed();
            } else if (!line.isEmpty() && !line.startsWith(QLatin1Char('#'))) {
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
        Rig rig({QStringLiteral("application Mail after 0.3"),
                 QStringLiteral("  window 0 0 800 600"),
                 QStringLiteral("    AXTextField 10 10 200 24")});
        QStringList answers;
        rig.scanner.scan([&](const auto&) { answers.append(QStringLiteral("first")); });
        rig.scheduler.advance(0.2);
        rig.scanner.scan([&](const auto&) { answers.append(QStringLiteral("second")); });
        QCOMPARE(rig.tree.applications.at(10).underWay, 1);
        rig.scheduler.advance(7);
        QCOMPARE(answers, QStringList{QStringLiteral("second")});
        rig.scanner.scan([&](const auto&) { answers.append(QStringLiteral("third")); });
        rig.scanner.cancel();
        QCOMPARE(rig.tree.applications.at(10).underWay, 0);
        rig.scheduler.advance(7);
        QCOMPARE(answers.size(), 1);
    }

    void ownWindowsOnlyOnRequest() {
        Rig rig({QStringLiteral("application Murlo"), QStringLiteral("  window 0 0 800 600"),
                 QStringLiteral("    AXTextField 10 10 200 24")},
                10);
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
                  tree, applications, scheduler, [this] { return screens(); }, ownPid) {
            applications.windows = tree.shown;
            for (const auto& [pid, application] : tree.applications)
                applications.running[pid].name = application.name;
        }

        [[nodiscard]] ScreenGeometry screens() const { return tree.screens; }

        [[nodiscard]] QString words(const QList<InputTarget>& boxes) const {
            QStringList words;
            for (const InputTarget& box : boxes) {
                const QPointF corner = screens().flipped(box.frame).topLeft();
                words.append(QStringLiteral("%1 %2 %3,%4")
                                 .arg(box.hint, box.appName)
                                 .arg(corner.x())
                                 .arg(corner.y()));
            }
            return words.join(QStringLiteral(", "));
        }

        VirtualScheduler scheduler;
        FakeTree tree;
        FakeApplications applications;
        InputScanner scanner;
    };
};

QTEST_GUILESS_MAIN(InputScannerTest)
#include "InputScannerTest.moc"
