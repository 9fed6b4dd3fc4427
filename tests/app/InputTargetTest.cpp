#include "targets/InputTarget.h"
#include "targets/FocusVerdict.h"
#include "targets/ScreenGeometry.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

class InputTargetTest : public QObject {
    Q_OBJECT

private:
    struct Rig {
        VirtualScheduler scheduler;
        FakeAccessibility accessibility{scheduler};
        InputTargets targets{accessibility};
        // A text box in its window.
        ElementRef window = accessibility.add("AXWindow");
        ElementRef box = accessibility.add("AXTextField", window);
        FakeAccessibility::Node& node = accessibility.node(box);
    };

private Q_SLOTS:
    void focusIsJudgedByTheNearestFourElements_data() {
        // Each element: role, '/' subrole, '=' for a settable value; from the focused one upwards.
        QTest::addColumn<QStringList>("elements");
        QTest::addColumn<QVariant>("editable"); // none: no verdict
        const auto row = [](const char* name, const char* elements, const QVariant& editable) {
            QTest::newRow(name) << QString::fromLatin1(elements).split(QLatin1Char(' '))
                                << editable;
        };
        const QVariant none;
        row("text field", "AXTextField", true);
        row("text area", "AXTextArea", true);
        row("combo box", "AXComboBox", true);
        row("search field by subrole", "AXGroup/AXSearchField", true);
        row("button", "AXButton AXGroup AXWindow", false);
        row("settable value", "AXGroup=", true);
        row("settable value without a role", "=", true);
        row("check box", "AXCheckBox= AXGroup AXWindow", false);
        row("check box in an editable ancestor", "AXCheckBox= AXGroup=", true);
        row("text inside a text area", "AXStaticText AXTextArea", true);
        row("third ancestor", "AXStaticText AXGroup AXGroup AXTextArea", true);
        row("link in an editable document", "AXLink AXTextArea", true);
        row("row of a list", "AXRow AXList AXGroup", false);
        row("cell of a tree", "AXCell AXOutline AXScrollArea", false);
        row("tab", "AXTabGroup AXWindow", false);
        row("pane of a program that draws itself", "AXGroup AXWindow", none);
        row("cell of a spreadsheet", "AXCell AXTable AXGroup", none);
        row("page", "AXWebArea AXScrollArea AXGroup", none);
        row("window", "AXWindow", none);
        row("unknown", "AXUnknown AXWindow", none);
        row("without a role", "/AXNothing", none);
        row("fourth ancestor", "AXStaticText AXGroup AXGroup AXGroup AXTextArea", false);
    }
    void focusIsJudgedByTheNearestFourElements() {
        QFETCH(QStringList, elements);
        Rig rig;
        ElementRef element;
        for (auto it = elements.rbegin(); it != elements.rend(); ++it) {
            QString role = *it;
            const bool settable = role.endsWith(QLatin1Char('='));
            if (settable) role.chop(1);
            element = rig.accessibility.add(role.section(QLatin1Char('/'), 0, 0), element);
            auto& node = rig.accessibility.node(element);
            if (settable) node.settable.insert("AXValue");
            if (role.contains(QLatin1Char('/')))
                node.strings.insert("AXSubrole", role.section('/', 1));
        }
        rig.accessibility.setFocused(element);
        const auto verdict = focusVerdict(rig.accessibility);
        QTEST(verdict ? QVariant(verdict->editable) : QVariant(), "editable");
        if (verdict) QCOMPARE(verdict->element, element); // never the ancestor that decided
        QCOMPARE(rig.targets.captureFocused().has_value(), verdict && verdict->editable);
        rig.accessibility.setTrusted(false);
        QVERIFY(!focusVerdict(rig.accessibility));
    }

    void theCapturedTargetDescribesTheBox() {
        Rig rig;
        rig.node.pid = 4711;
        rig.node.elements.insert("AXWindow", rig.window);
        rig.accessibility.setFocused(rig.box);

        auto target = rig.targets.captureFocused();
        QVERIFY(target);
        QCOMPARE(target->element, rig.box);
        QCOMPARE(target->window, rig.window);
        QCOMPARE(target->pid, 4711);

        // What has no process is no target.
        rig.node.elements.clear();
        target = rig.targets.captureFocused();
        QVERIFY(target);
        QCOMPARE(target->window, nullptr);
        rig.node.pid = 0;
        QVERIFY(!rig.targets.captureFocused());
        rig.accessibility.setFocused(nullptr);
        QVERIFY(!rig.targets.captureFocused());
    }

    void thePrimaryScreenIsTheOneAtTheOrigin() {
        const ScreenGeometry screens{{{-1920, 0, 1920, 1200}, {0, 0, 1280, 900}}};
        QCOMPARE(screens.primaryHeight(), 900.0);
        QCOMPARE(screens.flipped({100, 200, 300, 40}), QRectF(100, 660, 300, 40));
        QCOMPARE((ScreenGeometry{{{10, 0, 800, 600}, {900, 0, 1, 1}}}).primaryHeight(), 600.0);
        QCOMPARE(ScreenGeometry{}.primaryHeight(), 0.0);
    }

    void aTargetThatLostTheFocusGetsItBack() {
        Rig rig;
        rig.node.elements.insert("AXWindow", rig.window);
        rig.accessibility.setFocused(rig.box);
        const auto target = rig.targets.captureFocused();
        QVERIFY(target);

        rig.accessibility.setFocused(rig.accessibility.sameAgain(rig.box)); // another handle
        QVERIFY(rig.targets.isStillFocused(*target));
        rig.accessibility.setFocused(nullptr);
        QVERIFY(!rig.targets.isStillFocused(*target));
        rig.accessibility.setFocused(rig.window);
        QVERIFY(!rig.targets.isStillFocused(*target));

        bool done = false;
        rig.targets.bringIntoFocus(*target, [&] { done = true; });
        QVERIFY(!done);
        rig.scheduler.runPending();
        QVERIFY(done);
        QVERIFY(rig.targets.isStillFocused(*target));
        QCOMPARE(rig.accessibility.raised, QList<ElementRef>{rig.window});
    }

    void aBoxIsAliveAsLongAsItAnswers() {
        Rig rig;
        InputTarget target;
        target.element = rig.box;
        std::optional<bool> alive;
        const auto ask = [&] {
            alive.reset();
            rig.targets.isAlive(target, [&](bool answer) { alive = answer; });
            rig.scheduler.runPending();
        };
        ask();
        QCOMPARE(alive, true);
        rig.node.gone = true;
        ask();
        QCOMPARE(alive, false);
        rig.node.hung = true;
        ask();
        QVERIFY(!alive);
        rig.scheduler.advance(0.4);
        QCOMPARE(alive, false);
    }
};

QTEST_GUILESS_MAIN(InputTargetTest)
#include "InputTargetTest.moc"
