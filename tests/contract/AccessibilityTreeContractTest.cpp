#include "platform/linux/atspi/AtspiTree.h"
#include "tests/contract/RealAccessibility.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeTree.h"
#include "tests/harness/desktop/TargetApp.h"

#include <QTest>

using namespace murlo;

namespace {

/// What can be read of a program with one window, in which a line of text has the focus.
class Bench : public ContractWorld {
public:
    [[nodiscard]] virtual bool start() = 0;
    [[nodiscard]] virtual AccessibilityTree& port() = 0;
    [[nodiscard]] virtual qint64 pid() const = 0;
    /// The program takes no calls any more, or takes them again.
    virtual void setHung(bool hung) = 0;
    virtual void endProgram() = 0;
};

class FakeBench : public Bench {
public:
    bool start() override { return true; }
    AccessibilityTree& port() override { return m_port; }
    qint64 pid() const override { return 10; }
    void setHung(bool hung) override { m_port.applications[pid()].hung = hung; }
    void endProgram() override { m_port.applications[pid()] = {}; }

private:
    QtScheduler m_scheduler;
    FakeTree m_port{m_scheduler,
                    {"application zenity", "  focused 20 60 300 30", "  window 10 20 400 200",
                     "    AXTextField 20 60 300 30"}};
};

class RealBench : public Bench {
public:
    bool start() override {
        return m_program.start() && QTest::qWaitFor([this] {
                   const ElementRef focused = m_real.focusOf(pid());
                   return focused && focused->window();
               });
    }
    AccessibilityTree& port() override { return m_port; }
    qint64 pid() const override { return m_program.pid(); }
    void setHung(bool hung) override {
        if (hung)
            m_program.hang();
        else
            m_program.resume();
    }
    void endProgram() override { m_program.close(); }

private:
    TargetApp m_program{TargetApp::Kind::gtkEntry};
    RealAccessibility m_real;
    AtspiTree m_port{m_real.adapter.bus(), m_real.adapter,
                     [this] { return m_real.applications.windowsOnScreen(); }};
};

/// The text boxes among a node and what is inside.
void addBoxes(std::vector<AccessibleNode>& boxes, const AccessibleNode& node) {
    if (isTextBox(node.facts)) boxes.push_back(node);
    for (const AccessibleNode& child : node.children) addBoxes(boxes, child);
}

} // namespace

class AccessibilityTreeContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Bench> m_bench;
    std::vector<AccessibleApplication> m_answers; ///< of `begin`

    std::unique_ptr<TreeReading> begin(int mostWindows = 6) {
        const std::size_t before = m_answers.size();
        auto reading =
            m_bench->port().read(m_bench->pid(), mostWindows,
                                 [this](const auto& answer) { m_answers.push_back(answer); });
        if (m_answers.size() != before) qFatal("called back before it returned");
        return reading;
    }
    /// Reads to the end; nothing when there is none within two seconds.
    std::optional<AccessibleApplication> readAll(int mostWindows = 6) {
        m_answers.clear();
        const auto reading = begin(mostWindows);
        if (!QTest::qWaitFor([this] { return !m_answers.empty(); }, 2000)) return std::nullopt;
        return m_answers.front();
    }

private Q_SLOTS:
    void init() {
        m_answers.clear();
        m_bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        QVERIFY(m_bench->start());
    }
    void cleanup() { m_bench.reset(); }

    void aProgramTellsItsWindowAndItsBox_data() { addWorlds(); }
    void aProgramTellsItsWindowAndItsBox() {
        const auto program = readAll();
        QVERIFY(program && !program->hung && !program->silent);
        QCOMPARE(program->windows.size(), 1);
        const auto& window = program->windows.front();
        QVERIFY(window.isMain && !window.isPopup && !window.minimized);
        QCOMPARE(nameOf(window.root.facts.role), "AXWindow");
        std::vector<AccessibleNode> boxes;
        addBoxes(boxes, window.root);
        QCOMPARE(boxes.size(), 1);
        const AccessibleNode& box = boxes.front();
        QCOMPARE(nameOf(box.facts.role), "AXTextField");
        QVERIFY(box.facts.editable && box.facts.enabled);
        QVERIFY(window.root.frame && box.frame && window.root.frame->contains(*box.frame));
        QVERIFY(box.frame->width() >= 100 && box.frame->height() >= 12);
        QCOMPARE(box.element->pid(), m_bench->pid());

        QVERIFY(program->focused && isTextBox(program->focused->facts));
        QVERIFY(program->focused->children.empty());
        QCOMPARE(program->focused->frame, box.frame);
    }

    void noMoreWindowsThanAsked_data() { addWorlds(); }
    void noMoreWindowsThanAsked() {
        const auto program = readAll(0);
        QVERIFY(program && program->windows.empty());
    }

    void whoeverGivesUpIsToldNoMore_data() { addWorlds(); }
    void whoeverGivesUpIsToldNoMore() {
        (void)begin(); // given up at once
        const auto early = begin();
        early->handOver();
        QCOMPARE(m_answers.size(), 1);
        const auto first = begin();
        const auto second = begin(); // several are under way together
        QTRY_COMPARE(m_answers.size(), 3);
        first->handOver(); // it is over
        const auto last = begin();
        QTRY_COMPARE(m_answers.size(), 4);
    }

    void aHungProgramCostsTheTimeOfOneAnswer_data() { addWorlds(); }
    void aHungProgramCostsTheTimeOfOneAnswer() {
        m_bench->setHung(true);
        const auto hung = readAll();
        QVERIFY(hung && hung->hung && !hung->silent && hung->windows.empty());
        m_bench->setHung(false);
        const auto again = readAll();
        QVERIFY(again && !again->hung);
        QCOMPARE(again->windows.size(), 1);
    }

    void aProgramThatEndsTellsNothing_data() { addWorlds(); }
    void aProgramThatEndsTellsNothing() {
        const auto reading = begin();
        m_bench->endProgram(); // in the middle
        QTRY_COMPARE(m_answers.size(), 1);
        const auto after = readAll();
        QVERIFY(after && after->windows.empty() && !after->focused);
    }
};

QTEST_GUILESS_MAIN(AccessibilityTreeContractTest)
#include "AccessibilityTreeContractTest.moc"
