#include "tests/contract/AccessibilityWorlds.h"

#include <QElapsedTimer>
#include <QTest>

using namespace murlo;

class AccessibilityContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<AccessibilityWorld> m_world;

    /// Milliseconds until `ask` called back; it must not do so before it returns.
    template <typename Ask>
    static qint64 timeOf(Ask ask) {
        QElapsedTimer clock;
        bool answered = false;
        clock.start();
        ask([&answered] { answered = true; });
        if (answered) qFatal("called back before it returned");
        return QTest::qWaitFor([&answered] { return answered; }, 5000) ? clock.elapsed() : 5000;
    }

    /// Whether `box` is still there, as it says within so many milliseconds.
    bool isAlive(const ElementRef& box, qint64 within) {
        bool alive = false;
        const qint64 took = timeOf([&](auto done) {
            m_world->accessibility().askIfAlive(box, [&alive, done](bool answered) {
                alive = answered;
                done();
            });
        });
        if (took >= within) qFatal("too late: after %lld ms", static_cast<long long>(took));
        return alive;
    }

private Q_SLOTS:
    void initTestCase_data() { addWorlds(); }
    void init() {
        m_world =
            makeWorldOfRow<AccessibilityWorld, FakeAccessibilityWorld, RealAccessibilityWorld>(
                QTest::qGlobalData);
        QVERIFY(m_world->start());
    }
    void cleanup() { m_world.reset(); }

    void theFocusedBoxTellsWhatItIs() {
        QVERIFY(m_world->accessibility().isTrusted());
        const auto box = m_world->accessibility().focusedElement();
        const ElementFacts facts = box->facts();
        QCOMPARE(nameOf(facts.role), "AXTextField");
        QVERIFY(facts.subrole == ElementSubrole::none);
        QVERIFY(facts.editable && facts.focusable && facts.enabled);

        const auto window = box->window();
        QCOMPARE(nameOf(window->facts().role), "AXWindow");
        QVERIFY(!window->isSame(*box));
        QCOMPARE(window->pid(), box->pid());
        const auto parent = box->parent();
        QVERIFY(parent && !parent->isSame(*box));
        QVERIFY(!parent->facts().editable);
    }

    void theFocusGoesAwayAndIsBroughtBack() {
        auto& port = m_world->accessibility();
        const auto box = port.focusedElement();
        m_world->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_world->hasFocus());
        QCOMPARE(nameOf(port.focusedElement()->facts().role), "AXTextArea");
        QVERIFY(!port.focusedElement()->isSame(*box));
        QVERIFY(isTextBox(box->facts())); // an old handle goes on answering

        QVERIFY(timeOf([&](auto done) { port.focus(box->window(), box, done); }) < 1000);
        QTRY_VERIFY(m_world->hasFocus());
        QVERIFY(port.focusedElement()->isSame(*box));
        QVERIFY(box->isSame(*port.focusedElement()));
    }

    void aHungProgramDelaysItsOwnAnswersAndNoMore() {
        auto& port = m_world->accessibility();
        const auto box = port.focusedElement();
        QVERIFY(isAlive(box, 400));
        m_world->setHung(true);
        QVERIFY(!isAlive(box, 800));
        QVERIFY(isTextBox(box->facts()));
        QVERIFY(timeOf([&](auto done) { port.focus(box->window(), box, done); }) < 1500);
        m_world->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_world->hasFocus());
        m_world->setHung(false);
        QVERIFY(isAlive(box, 400));
    }

    void aProgramThatEndedHasNoFocusAndNoAnswers() {
        auto& port = m_world->accessibility();
        const auto box = port.focusedElement();
        m_world->endProgram();
        QTRY_VERIFY(!port.focusedElement() || !port.focusedElement()->isSame(*box));
        QVERIFY(!isAlive(box, 800));
        QVERIFY(timeOf([&](auto done) { port.focus(nullptr, box, done); }) < 1500);
    }
};

QTEST_GUILESS_MAIN(AccessibilityContractTest)
#include "AccessibilityContractTest.moc"
