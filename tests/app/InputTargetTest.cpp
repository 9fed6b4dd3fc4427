#include "targets/InputTarget.h"
#include "targets/FocusVerdict.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

class InputTargetTest : public QObject {
    Q_OBJECT

private:
    struct Rig {
        Rig() {
            node.window = window;
            accessibility.setFocused(box);
        }

        VirtualScheduler scheduler;
        FakeAccessibility accessibility{scheduler};
        InputTargets targets{accessibility};
        ElementRef window = accessibility.add("AXWindow");
        ElementRef box = accessibility.add("AXTextField", window);
        FakeAccessibility::Node& node = accessibility.node(box);
    };

private Q_SLOTS:
    void focusIsJudgedByTheNearestFourElements_data() {
        // Each element: role, '/' subrole, '=' for an editable one; from the focused one upwards.
        QTest::addColumn<QString>("elements");
        QTest::addColumn<QVariant>("editable"); // none: no verdict
        const auto row = [](const char* name, const char* elements, const QVariant& editable) {
            QTest::newRow(name) << QString::fromLatin1(elements) << editable;
        };
        const QVariant none;
        row("text field", "AXTextField", true);
        row("text area", "AXTextArea", true);
        row("combo box", "AXComboBox", true);
        row("search field by subrole", "AXGroup/AXSearchField", true);
        row("button", "AXButton AXGroup AXWindow", false);
        row("editable, whatever its role", "AXGroup=", true);
        row("editable without a role", "=", true);
        row("check box", "AXCheckBox AXGroup AXWindow", false);
        row("third ancestor", "AXStaticText AXGroup AXGroup AXTextArea", true);
        row("fourth ancestor", "AXStaticText AXGroup AXGroup AXGroup AXTextArea", false);
        row("row of a list", "AXRow AXList AXGroup", false);
        row("cell of a tree", "AXCell AXOutline AXScrollArea", false);
        row("cell of a spreadsheet", "AXCell AXTable AXGroup", none);
        row("cell of nothing", "AXCell", none);
        row("pane of a program that draws itself", "AXGroup AXWindow", none);
        row("page", "AXWebArea AXScrollArea AXGroup", none);
        row("window", "AXWindow", none);
        row("unknown", "AXUnknown AXWindow", none);
        row("without a role", "", none);
    }
    void focusIsJudgedByTheNearestFourElements() {
        QFETCH(QString, elements);
        Rig rig;
        ElementRef element;
        QStringList names = elements.split(' ');
        std::ranges::reverse(names);
        for (QString& name : names) {
            const bool editable = name.endsWith('=');
            element = rig.accessibility.add(name.remove('='), element);
            if (editable) rig.accessibility.node(element).facts.editable = true;
        }
        rig.accessibility.setFocused(element);
        const auto verdict = focusVerdict(rig.accessibility);
        QTEST(verdict ? QVariant(verdict->editable) : QVariant(), "editable");
        if (verdict) QCOMPARE(verdict->element, element); // never the ancestor that decided
        QCOMPARE(rig.targets.captureFocused().has_value(), verdict && verdict->editable);
        rig.accessibility.setTrusted(false);
        QVERIFY(!focusVerdict(rig.accessibility));
    }

    void theFocusedBoxIsRememberedAndBroughtBack() {
        Rig rig;
        rig.node.pid = 4711;
        const auto target = rig.targets.captureFocused();
        QVERIFY(target);
        QCOMPARE(target->element, rig.box);
        QCOMPARE(target->window, rig.window);
        QCOMPARE(target->pid, 4711);
        rig.node.pid = 0; // what has no process is no target
        QVERIFY(!rig.targets.captureFocused());

        for (const auto& [focused, is] : {std::pair(rig.accessibility.sameAgain(rig.box), true),
                                          {ElementRef(), false},
                                          {rig.window, false}}) {
            rig.accessibility.setFocused(focused);
            QCOMPARE(rig.targets.isStillFocused(*target), is);
        }
        bool done = false;
        rig.targets.bringIntoFocus(*target, [&] { done = true; });
        rig.scheduler.runPending();
        QVERIFY(done && rig.targets.isStillFocused(*target));
        QCOMPARE(rig.accessibility.raised, QList<ElementRef>{rig.window});
    }
};

QTEST_GUILESS_MAIN(InputTargetTest)
#include "InputTargetTest.moc"
