#include "tests/contract/AccessibilityWorlds.h"

#include <QTest>

using namespace murlo;

namespace {

/// The text boxes among a node and what is inside.
void addBoxes(std::vector<AccessibleNode>& boxes, const AccessibleNode& node) {
    if (isTextBox(node.facts)) boxes.push_back(node);
    for (const AccessibleNode& child : node.children) addBoxes(boxes, child);
}

} // namespace

class AccessibilityTreeContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccessibilityWorld> m_world;
    std::vector<AccessibleApplication> m_answers; ///< of `begin`

    std::unique_ptr<TreeReading> begin(int mostWindows = 6) {
        const std::size_t before = m_answers.size();
        auto reading =
            m_world->tree().read(m_world->pid(), mostWindows,
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
    void initTestCase_data() { addWorlds(); }
    void init() {
        m_answers.clear();
        m_world =
            makeWorldOfRow<AccessibilityWorld, FakeAccessibilityWorld, RealAccessibilityWorld>(
                QTest::qGlobalData);
        QVERIFY(m_world->start());
    }
    void cleanup() { m_world.reset(); }

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
        QCOMPARE(box.element->pid(), m_world->pid());
        QVERIFY(box.element->isSame(*m_world->accessibility().focusedElement()));

        QVERIFY(program->focused && isTextBox(program->focused->facts));
        QVERIFY(program->focused->children.empty());
        QCOMPARE(program->focused->frame, box.frame);
    }

    void noMoreWindowsThanAsked() {
        const auto program = readAll(0);
        QVERIFY(program && program->windows.empty());
    }

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

    void aHungProgramCostsTheTimeOfOneAnswer() {
        m_world->setHung(true);
        const auto hung = readAll();
        QVERIFY(hung && hung->hung && !hung->silent && hung->windows.empty());
        m_world->setHung(false);
        const auto again = readAll();
        QVERIFY(again && !again->hung);
        QCOMPARE(again->windows.size(), 1);
    }

    void aProgramThatEndsTellsNothing() {
        const auto reading = begin();
        m_world->endProgram(); // in the middle
        QTRY_COMPARE(m_answers.size(), 1);
        const auto after = readAll();
        QVERIFY(after && after->windows.empty() && !after->focused);
    }
};

QTEST_GUILESS_MAIN(AccessibilityTreeContractTest)
#include "AccessibilityTreeContractTest.moc"
