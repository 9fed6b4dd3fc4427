#include "targets/InputTarget.h"
#include "hints/InputScanner.h"
#include "targets/FocusVerdict.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeTree.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"

using namespace murlo;

namespace {

/// A text box that has the focus.
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

/// Applications with their windows, and the scanner that looks for boxes in them.
struct Desktop {
    explicit Desktop(const QStringList& lines, qint64 ownPid = 1)
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

} // namespace

/// Text boxes: the one with the focus, and all that are on the screen.
class InputTargetTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void focusIsJudgedByTheNearestFourElements_data() {
        // Each element: role, '/' subrole, '=' for an editable one; from the focused one upwards.
        // Then whether the focus is editable, if there is a verdict.
        const Rows<QString, std::optional<bool>> row;
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
        row("cell of a spreadsheet", "AXCell AXTable AXGroup");
        row("cell of nothing", "AXCell");
        row("pane of a program that draws itself", "AXGroup AXWindow");
        row("page", "AXWebArea AXScrollArea AXGroup");
        row("window", "AXWindow");
        row("unknown", "AXUnknown AXWindow");
        row("without a role", "");
    }
    void focusIsJudgedByTheNearestFourElements() {
        const auto [elements, editable] = fetch<QString, std::optional<bool>>();
        Rig rig;
        ElementRef element;
        QStringList names = elements.split(' ');
        std::ranges::reverse(names);
        for (QString& name : names) {
            const bool marked = name.endsWith('=');
            element = rig.accessibility.add(name.remove('='), element);
            if (marked) rig.accessibility.node(element).facts.editable = true;
        }
        rig.accessibility.setFocused(element);
        const auto verdict = focusVerdict(rig.accessibility);
        QCOMPARE(verdict ? std::optional(verdict->editable) : std::nullopt, editable);
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

    void boxesOnTheScreen_data() {
        const Rows<QStringList, double, QString> row;
        const QString file = QString::fromUtf8(contentOf(QFINDTESTDATA("../data/boxes.txt")));
        QVERIFY(!file.isEmpty());
        QString name;
        QStringList lines;
        for (const QString& line : file.split('\n')) {
            if (line.startsWith("case: ")) {
                name = line.mid(6);
                lines.clear();
            } else if (line.startsWith("found after ")) {
                const double seconds = line.section(':', 0, 0).mid(12).toDouble();
                row(name.toUtf8(), lines, seconds, line.section(':', 1).trimmed());
            } else if (!line.isEmpty() && !line.startsWith('#')) {
                lines.append(line);
            }
        }
    }
    void boxesOnTheScreen() {
        const auto [lines, seconds, found] = fetch<QStringList, double, QString>();
        Desktop rig(lines);
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
        Desktop rig(
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
        Desktop rig({"application Murlo", "  window 0 0 800 600", "    AXTextField 10 10 200 24"},
                    10);
        for (const bool include : {false, true}) {
            rig.scanner.includeOwnWindows = include;
            qsizetype count = -1;
            rig.scanner.scan([&](const QList<InputTarget>& boxes) { count = boxes.size(); });
            rig.scheduler.advance(1);
            QCOMPARE(count, include ? 1 : 0);
        }
    }
};

QTEST_GUILESS_MAIN(InputTargetTest)
#include "InputTargetTest.moc"
