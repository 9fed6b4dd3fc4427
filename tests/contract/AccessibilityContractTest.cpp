#include "tests/contract/RealAccessibility.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/harness/desktop/TargetApp.h"

#include <QElapsedTimer>
#include <QTest>

using namespace murlo;

namespace {

/// Accessibility with two programs: one with a line of text that has the focus, and another.
class Bench : public ContractWorld {
public:
    [[nodiscard]] virtual bool start() = 0;
    [[nodiscard]] virtual Accessibility& port() = 0;
    /// The first program takes no calls any more, or takes them again.
    virtual void setHung(bool hung) = 0;
    virtual void endProgram() = 0;
    /// The other program comes to the front.
    virtual void switchAway() = 0;
    [[nodiscard]] virtual qint64 pid() const = 0;

    [[nodiscard]] bool hasFocus() {
        const auto element = port().focusedElement();
        return element && element->pid() == pid();
    }
};

class FakeBench : public Bench {
public:
    bool start() override {
        m_port.node(m_box).window = m_box->parent();
        m_port.setFocused(m_box);
        return true;
    }
    Accessibility& port() override { return m_port; }
    void setHung(bool hung) override { m_port.node(m_box).hung = hung; }
    void endProgram() override {
        m_port.node(m_box).gone = true;
        m_port.setFocused(nullptr);
    }
    void switchAway() override {
        const auto other = m_port.add("AXTextArea");
        m_port.node(other).pid = pid() + 1;
        m_port.setFocused(other);
    }
    qint64 pid() const override { return m_box->pid(); }

private:
    QtScheduler m_scheduler;
    FakeAccessibility m_port{m_scheduler};
    ElementRef m_box = m_port.add("AXTextField", m_port.add("AXWindow"));
};

class RealBench : public Bench {
public:
    bool start() override {
        return m_other.start() && m_program.start() &&
               QTest::qWaitFor([this] { return hasFocus() && port().focusedElement()->window(); });
    }
    Accessibility& port() override { return m_real.adapter; }
    void setHung(bool hung) override {
        if (hung)
            m_program.hang();
        else
            m_program.resume();
    }
    void endProgram() override { m_program.close(); }
    void switchAway() override { QVERIFY(m_other.activate()); }
    qint64 pid() const override { return m_program.pid(); }

private:
    TargetApp m_other{TargetApp::Kind::editor};
    TargetApp m_program{TargetApp::Kind::gtkEntry};
    RealAccessibility m_real;
};

} // namespace

class AccessibilityContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<Bench> m_bench;

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
            m_bench->port().askIfAlive(box, [&alive, done](bool answered) {
                alive = answered;
                done();
            });
        });
        if (took >= within) qFatal("too late: after %lld ms", static_cast<long long>(took));
        return alive;
    }

private Q_SLOTS:
    void init() {
        m_bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        QVERIFY(m_bench->start());
    }
    void cleanup() { m_bench.reset(); }

    void theFocusedBoxTellsWhatItIs_data() { addWorlds(); }
    void theFocusedBoxTellsWhatItIs() {
        QVERIFY(m_bench->port().isTrusted());
        const auto box = m_bench->port().focusedElement();
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

    void theFocusGoesAwayAndIsBroughtBack_data() { addWorlds(); }
    void theFocusGoesAwayAndIsBroughtBack() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        m_bench->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_bench->hasFocus());
        QCOMPARE(nameOf(port.focusedElement()->facts().role), "AXTextArea");
        QVERIFY(!port.focusedElement()->isSame(*box));
        QVERIFY(isTextBox(box->facts())); // an old handle goes on answering

        QVERIFY(timeOf([&](auto done) { port.focus(box->window(), box, done); }) < 1000);
        QTRY_VERIFY(m_bench->hasFocus());
        QVERIFY(port.focusedElement()->isSame(*box));
        QVERIFY(box->isSame(*port.focusedElement()));
    }

    void aHungProgramDelaysItsOwnAnswersAndNoMore_data() { addWorlds(); }
    void aHungProgramDelaysItsOwnAnswersAndNoMore() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        QVERIFY(isAlive(box, 400));
        m_bench->setHung(true);
        QVERIFY(!isAlive(box, 800));
        QVERIFY(isTextBox(box->facts()));
        QVERIFY(timeOf([&](auto done) { port.focus(box->window(), box, done); }) < 1500);
        m_bench->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_bench->hasFocus());
        m_bench->setHung(false);
        QVERIFY(isAlive(box, 400));
    }

    void aProgramThatEndedHasNoFocusAndNoAnswers_data() { addWorlds(); }
    void aProgramThatEndedHasNoFocusAndNoAnswers() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        m_bench->endProgram();
        QTRY_VERIFY(!port.focusedElement() || !port.focusedElement()->isSame(*box));
        QVERIFY(!isAlive(box, 800));
        QVERIFY(timeOf([&](auto done) { port.focus(nullptr, box, done); }) < 1500);
    }
};

QTEST_GUILESS_MAIN(AccessibilityContractTest)
#include "AccessibilityContractTest.moc"
