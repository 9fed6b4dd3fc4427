#include "hints/HintController.h"
#include "MurloKit/HintLabels.h"
#include "hints/InputScanner.h"
#include "look/Words.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeInterruptions.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

namespace {

struct CountedLayer : HintLayer {
    explicit CountedLayer(std::shared_ptr<int> all)
        : each(std::move(all)) {}
    std::shared_ptr<int> each;
};

/// Three boxes in a row, one application, told after 0.1 s.
const QStringList threeBoxes{"application Mail after 0.1", "  window 0 0 800 600",
                             "    AXTextField 10 10 200 24", "    AXTextField 300 10 200 24",
                             "    AXTextField 550 10 200 24"};

struct Rig {
    explicit Rig(const QStringList& lines = threeBoxes)
        : tree(scheduler, lines, &accessibility) {
        applications.windows = tree.shown;
        for (const auto& [pid, application] : tree.applications)
            applications.running[pid].name = application.name;
        controller.onPick = [this](const InputTarget& box) { said.append("pick " + box.hint); };
        controller.onStatus = [this](const Message& message) {
            said.append(Words::english(message));
        };
        controller.onActiveChange = [this](bool on) { filtering = on; };
    }

    /// Letters, '<' for Delete, '^' for Escape.
    void type(const QString& keys) {
        for (const QChar key : keys) {
            const qint64 code = key == '<' ? 51 : key == '^' ? 53 : 0;
            QVERIFY(controller.handleKey(code ? QString() : QString(key), code));
        }
    }

    void verifyEnded() {
        QVERIFY(!controller.isActive());
        QVERIFY(!filtering && !interruptions.watching);
        QVERIFY(controller.targets().isEmpty() && controller.typed().isEmpty());
        QVERIFY(!controller.handleKey("a", 0)); // keys are the applications' again
        scheduler.advance(7);
        QCOMPARE(layer.use_count(), 1);
        QCOMPARE(scheduler.pendingTimers(), 0);
    }

    VirtualScheduler scheduler;
    FakeAccessibility accessibility{scheduler};
    FakeApplications applications;
    FakeTree tree;
    InputTargets boxes{accessibility};
    InputScanner scanner{tree, applications, scheduler, [this] { return tree.screens; }, 1};
    FakeInterruptions interruptions;
    std::shared_ptr<int> layer = std::make_shared<int>(); ///< held by each
    QList<ScreenInfo> screens{{{0, 0, 1280, 900}, {}, {0, 0, 1280, 900}}};
    HintOverlay overlay{
        scheduler, [this] { return screens; },
        [this](auto&, auto&, auto&) { return std::make_unique<CountedLayer>(layer); }};
    HintController controller{scheduler, accessibility, boxes, scanner, interruptions, overlay};
    QStringList said;
    bool filtering = false;
};

} // namespace

class HintControllerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void labels() {
        const QMap<int, int> singleLetters{{0, 0},   {1, 1},    {26, 26}, {27, 25}, {51, 25},
                                           {52, 24}, {200, 19}, {676, 0}, {702, 0}, {5000, 0}};
        for (const int boxes : singleLetters.keys()) {
            const QStringList labels = hintLabels(boxes);
            QCOMPARE(labels.size(), std::min(boxes, mostHints));
            QCOMPARE(std::ranges::count(labels, 1, &QString::size), singleLetters[boxes]);
            QVERIFY2(std::ranges::is_sorted(labels, {}, &QString::size), "later ones are longer");
            for (const QString& label : labels)
                QCOMPARE(std::ranges::count_if(
                             labels, [&](const QString& other) { return other.startsWith(label); }),
                         1);
        }
    }

    void keys_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QString>("outcome"); // what was said, or the letters typed so far
        const auto row = [](int count, const char* keys, const char* outcome) {
            QTest::addRow("%d: %s", count, keys) << count << QString(keys) << QString(outcome);
        };
        row(3, "s", "pick S");
        row(3, "S", "pick S");
        row(3, "g", "");
        row(3, "gs", "pick S");
        row(3, "7;#ф d", "pick D");
        row(28, "m", "M");
        row(28, "ma", "pick MA");
        row(28, "m<", "");
        row(28, "m<<a", "pick A");
        row(28, "m7a", "pick MA");
        row(28, "mxs", "pick S"); // no label MX: typing starts over
    }
    void keys() {
        QFETCH(int, count);
        QFETCH(QString, keys);
        QFETCH(QString, outcome);
        QStringList lines{"application Form", "  window 0 0 1280 900"};
        for (int i = 0; i < count; ++i)
            lines.append(QString("    AXTextField 10 %1 200 24").arg(10 + 30 * i));
        Rig rig(lines);
        rig.controller.begin();
        rig.type("sa"); // before the scan has answered: to nobody, for nothing
        rig.scheduler.advance(0.01);
        QCOMPARE(rig.layer.use_count(), 2);
        rig.type(keys);
        rig.scheduler.advance(0.01);
        if (outcome.startsWith("pick")) {
            QCOMPARE(rig.said, QStringList{outcome});
            rig.verifyEnded();
        } else {
            QVERIFY(rig.said.isEmpty() && rig.controller.isActive());
            QCOMPARE(rig.controller.typed(), outcome);
        }
    }

    void endings_data() {
        QTest::addColumn<double>("seconds"); // since the beginning; the scan answers after 0.1
        QTest::addColumn<QString>("how");
        for (const char* how : {"Escape", "begin", "click", "dictation", "expiry"}) {
            QTest::addRow("%s while scanning", how) << 0.05 << how;
            QTest::addRow("%s while showing", how) << 0.2 << how;
        }
    }
    void endings() {
        QFETCH(double, seconds);
        QFETCH(QString, how);
        Rig rig;
        rig.controller.begin();
        QVERIFY(rig.filtering && rig.interruptions.watching);
        rig.scheduler.advance(seconds);
        if (how == "Escape") rig.type("^");
        if (how == "begin") rig.controller.begin();
        if (how == "click") rig.interruptions.onInterruption();
        if (how == "dictation") rig.controller.cancel();
        if (how == "expiry") {
            rig.scheduler.advance(7.99 - seconds);
            QVERIFY(rig.controller.isActive());
            rig.scheduler.advance(0.02);
        }
        rig.verifyEnded();
        QVERIFY(rig.said.isEmpty());
    }

    void aBoxThatIsGone() {
        Rig rig;
        rig.controller.begin();
        rig.scheduler.advance(0.2);
        rig.accessibility.node(rig.controller.targets().at(1).element).gone = true;
        rig.type("s");
        rig.scheduler.advance(0.5);
        QCOMPARE(rig.said, QStringList{"That text box just disappeared. Try again."});
        rig.verifyEnded();
    }

    void anAnswerToAnEarlierScanIsDropped() {
        Rig rig;
        rig.controller.begin();
        rig.controller.begin(); // off
        rig.scheduler.advance(0.05);
        rig.controller.begin();
        rig.scheduler.advance(0.06); // the first scan would have answered
        QVERIFY(rig.controller.isActive() && rig.controller.targets().isEmpty());
        rig.scheduler.advance(0.05);
        QCOMPARE(rig.controller.targets().size(), 3);
    }

    void whatTheUserIsTold() {
        Rig rig({"application Browser silent", "  window 0 0 800 600"});
        rig.controller.begin();
        rig.scheduler.advance(0.5);
        rig.applications.windows.clear();
        rig.controller.begin();
        rig.scheduler.advance(0.5);
        rig.accessibility.setFocused(rig.accessibility.add("AXTextField/AXSecureTextField"));
        rig.controller.begin();
        rig.accessibility.setTrusted(false);
        rig.controller.begin();
        QCOMPARE(rig.said,
                 (QStringList{"No text boxes found on screen. Browser shows its own when "
                              "started with --force-renderer-accessibility.",
                              "No text boxes found on screen.",
                              "A password field somewhere is blocking shortcuts. Click "
                              "elsewhere and try again.",
                              "Accessibility access is off, so text boxes can't be found. "
                              "The command murlo --enable-accessibility turns it on."}));
        rig.verifyEnded();
    }
};

QTEST_GUILESS_MAIN(HintControllerTest)
#include "HintControllerTest.moc"
