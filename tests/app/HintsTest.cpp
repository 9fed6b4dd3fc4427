#include "MurloKit/HintLabels.h"
#include "hints/HintController.h"
#include "hints/HintMotion.h"
#include "hints/InputScanner.h"
#include "look/Words.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeInterruptions.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Rows.h"

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

/// The frames of so many seconds, as a layer has them.
void pass(HintMotion& motion, const HintOverlayModel& model, bool reduced, double seconds) {
    for (int frame = 0; frame < std::lround(seconds * 60); ++frame) {
        motion.update(model, reduced);
        motion.advance(1.0 / 60);
    }
}

} // namespace

/// The letters over text boxes, from the first key to the pick, and how they are drawn.
class HintsTest : public QObject {
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
        const Rows<QString> outcome; // what was said, or the letters typed so far; by boxes, keys
        outcome("3: s", "pick S");
        outcome("3: S", "pick S");
        outcome("3: g", "");
        outcome("3: gs", "pick S");
        outcome("3: 7;#ф d", "pick D");
        outcome("28: m", "M");
        outcome("28: ma", "pick MA");
        outcome("28: m<", "");
        outcome("28: m<<a", "pick A");
        outcome("28: m7a", "pick MA");
        outcome("28: mxs", "pick S"); // no label MX: typing starts over
    }
    void keys() {
        const auto [outcome] = fetch<QString>();
        const QString row = QTest::currentDataTag();
        const int count = row.section(": ", 0, 0).toInt();
        QStringList lines{"application Form", "  window 0 0 1280 900"};
        for (int i = 0; i < count; ++i)
            lines.append(QString("    AXTextField 10 %1 200 24").arg(10 + 30 * i));
        Rig rig(lines);
        rig.controller.begin();
        rig.type("sa"); // before the scan has answered: to nobody, for nothing
        rig.scheduler.advance(0.01);
        QCOMPARE(rig.layer.use_count(), 2);
        rig.type(row.section(": ", 1));
        rig.scheduler.advance(0.01);
        if (outcome.startsWith("pick")) {
            QCOMPARE(rig.said, QStringList{outcome});
            rig.verifyEnded();
        } else {
            QVERIFY(rig.said.isEmpty() && rig.controller.isActive());
            QCOMPARE(rig.controller.typed(), outcome);
        }
    }

    void endings() {
        for (const QByteArray how : {"Escape", "begin", "click", "dictation", "expiry"}) {
            for (const double seconds : {0.05, 0.2}) { // the scan answers after 0.1
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
        }
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
        QCOMPARE(rig.said.takeFirst(), "No text boxes found on screen. Browser shows its own when "
                                       "started with --force-renderer-accessibility.");
        const auto expected = {Word::noBoxesFound, Word::passwordField, Word::accessibilityOff};
        for (const Word word : expected) QCOMPARE(rig.said.takeFirst(), Words::english(word));
        rig.verifyEnded();
    }

    void lettersOfTwoScreens_data() {
        // In device pixels; then in the points of either layer, if it is there.
        const Rows<QRectF, QRectF, QRectF> row;
        row("left", {200, 100, 400, 60}, {200, 100, 400, 60}, {});
        row("right", {1480, 100, 400, 60}, {}, {100, 0, 200, 30});
        row("across", {1180, 400, 300, 60}, {1180, 400, 300, 60}, {-50, 150, 150, 30});
        row("up to the edge", {1080, 400, 200, 60}, {1080, 400, 200, 60}, {});
        row("above the right one", {1480, 20, 400, 60}, {}, {});
    }
    void lettersOfTwoScreens() {
        InputTarget target;
        QRectF left;
        QRectF right;
        std::tie(target.frame, left, right) = fetch<QRectF, QRectF, QRectF>();
        const auto place = [&](const ScreenInfo& screen) {
            const auto badges = badgesOf({target}, screen);
            return badges.isEmpty() ? QRectF() : badges.first().rect;
        };
        QCOMPARE(place({{0, 0, 1280, 800}, {}, {0, 0, 1280, 800}}), left);
        QCOMPARE(place({{1280, 100, 1280, 800}, {}, {1280, 100, 2560, 1600}}), right);
    }

    void labelsSitOnTheCornerAndStayOnTheScreen() {
        constexpr double edge = 2; // points
        for (const QPointF corner :
             {QPointF(400, 300), QPointF(0, 300), QPointF(400, 3), QPointF(-50, -20)}) {
            const HintMotion motion({{{}, "AS", {corner, QSizeF(200, 30)}}});
            const QRectF label = motion.present().marks.front().label;
            const QPointF centred = corner - QRectF({}, label.size()).center();
            QVERIFY(std::abs(label.left() - std::max(centred.x(), edge)) <= 0.5);
            QVERIFY(std::abs(label.top() - std::max(centred.y(), edge)) <= 0.5);
        }
    }

    void comingAndGoing() {
        for (const bool reduced : {false, true}) {
            HintMotion motion({{{}, "A", {10, 10, 200, 30}}});
            HintOverlayModel model;
            for (const bool presented : {true, false}) {
                model.setPresented(presented);
                pass(motion, model, reduced, 0.08);
                const double half = motion.present().presented;
                QVERIFY(half > 0.05 && half < 0.95);
                pass(motion, model, reduced, 0.09);
                QCOMPARE(motion.isMoving(), !reduced);
                pass(motion, model, reduced, 0.33); // the layer goes after half a second
                QVERIFY(!motion.isMoving());
                QCOMPARE(motion.present().presented, presented ? 1.0 : 0.0);
                QCOMPARE(motion.present().wash > 0, presented);
            }
        }
    }

    void lettersThatNoLongerMatchFade() {
        for (const bool reduced : {false, true}) {
            HintMotion motion({{{}, "AS", {10, 10, 200, 30}}, {{}, "F", {10, 60, 200, 30}}});
            HintOverlayModel model;
            const auto before = motion.present().marks;
            model.setTyped("A");
            pass(motion, model, reduced, 0.05);
            const double half = motion.present().marks[1].labelOpacity;
            QVERIFY(half > 0.4 && half < 0.95);
            pass(motion, model, reduced, 0.1);
            QCOMPARE(motion.isMoving(), !reduced);
            pass(motion, model, reduced, 0.35);
            const HintMark matching = motion.present().marks[0];
            const HintMark other = motion.present().marks[1];
            QCOMPARE(matching.typed + '|' + matching.rest, "A|S");
            QVERIFY(matching.matching == 1 && matching.labelOpacity == 1 &&
                    matching.labelScale == 1);
            QVERIFY(matching.opacity == 1 && matching.fill > 0 &&
                    matching.stroke > before[0].stroke);
            QCOMPARE(other.typed + '|' + other.rest, "|F");
            QVERIFY(other.matching == 0 && other.labelOpacity < 0.5 && other.labelScale < 1);
            QVERIFY(other.opacity < 0.1 && other.fill == 0 && other.stroke == before[1].stroke);
            model.setTyped({});
            pass(motion, model, reduced, 0.5);
            QVERIFY(motion.present().marks == before);
        }
    }
};

QTEST_MAIN(HintsTest)
#include "HintsTest.moc"
