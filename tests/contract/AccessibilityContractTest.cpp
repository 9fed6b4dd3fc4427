#include "tests/contract/RealAccessibility.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/harness/desktop/TargetApp.h"

#include <QElapsedTimer>
#include <QTest>

using namespace murlo;

namespace {

const QString role = "AXRole";

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
        const auto window = m_port.add("AXWindow");
        m_box = m_port.add("AXTextField", window);
        auto& node = m_port.node(m_box);
        node.elements.insert("AXWindow", window);
        node.settable = {"AXValue", "AXFocused"};
        node.frame = QRectF(10, 20, 300, 30);
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
    ElementRef m_box;
};

class RealBench : public Bench {
public:
    bool start() override {
        return m_other.start() && m_program.start() &&
               QTest::qWaitFor([this] { return windowKnown(); });
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
    bool windowKnown() {
        return hasFocus() && port().element(port().focusedElement(), "AXWindow") != nullptr;
    }

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

private Q_SLOTS:
    void init() {
        m_bench = makeWorldOfRow<Bench, FakeBench, RealBench>();
        QVERIFY(m_bench->start());
    }
    void cleanup() { m_bench.reset(); }

    void theFocusedBoxTellsWhatItIs_data() { addWorlds(); }
    void theFocusedBoxTellsWhatItIs() {
        auto& port = m_bench->port();
        QVERIFY(port.isTrusted());
        const auto box = port.focusedElement();
        QCOMPARE(port.string(box, role), "AXTextField");
        QVERIFY(!port.string(box, "AXSubrole"));
        QVERIFY(port.isSettable(box, "AXValue"));
        QVERIFY(port.isSettable(box, "AXFocused"));
        QVERIFY(!port.isSettable(box, "AXNothing"));
        const auto frame = port.frame(box);
        QVERIFY(frame && frame->width() >= 100 && frame->height() >= 12);

        const auto window = port.element(box, "AXWindow");
        QCOMPARE(port.string(window, role), "AXWindow");
        QVERIFY(!window->isSame(*box));
        QCOMPARE(window->pid(), box->pid());
        const auto parent = port.element(box, "AXParent");
        QVERIFY(parent && !parent->isSame(*box));
        QVERIFY(!port.isSettable(parent, "AXValue"));
    }

    void theFocusGoesAwayAndIsBroughtBack_data() { addWorlds(); }
    void theFocusGoesAwayAndIsBroughtBack() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        const auto window = port.element(box, "AXWindow");
        m_bench->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_bench->hasFocus());
        QCOMPARE(port.string(port.focusedElement(), role), "AXTextArea");
        QVERIFY(!port.focusedElement()->isSame(*box));
        QVERIFY(port.string(box, role)); // an old handle goes on answering

        QVERIFY(timeOf([&](auto done) { port.focus(window, box, done); }) < 1000);
        QTRY_VERIFY(m_bench->hasFocus());
        QVERIFY(port.focusedElement()->isSame(*box));
        QVERIFY(box->isSame(*port.focusedElement()));
    }

    void aHungProgramDelaysItsOwnAnswersAndNoMore_data() { addWorlds(); }
    void aHungProgramDelaysItsOwnAnswersAndNoMore() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        const auto window = port.element(box, "AXWindow");
        bool answer = false;
        const auto askRole = [&](auto done) {
            port.askRole(box, [&answer, done](bool answered) {
                answer = answered;
                done();
            });
        };
        QVERIFY(timeOf(askRole) < 400);
        QVERIFY(answer);

        m_bench->setHung(true);
        QVERIFY(timeOf(askRole) < 800);
        QVERIFY(!answer);
        QVERIFY(timeOf([&](auto done) { port.focus(window, box, done); }) < 1500);
        m_bench->switchAway();
        QTRY_VERIFY(port.focusedElement() && !m_bench->hasFocus());

        m_bench->setHung(false);
        QVERIFY(timeOf(askRole) < 400);
        QVERIFY(answer);
    }

    void aProgramThatEndedHasNoFocusAndNoAnswers_data() { addWorlds(); }
    void aProgramThatEndedHasNoFocusAndNoAnswers() {
        auto& port = m_bench->port();
        const auto box = port.focusedElement();
        m_bench->endProgram();
        QTRY_VERIFY(!port.focusedElement() || !port.focusedElement()->isSame(*box));
        bool answer = true;
        QVERIFY(timeOf([&](auto done) {
                    port.askRole(box, [&answer, done](bool answered) {
                        answer = answered;
                        done();
                    });
                }) < 800);
        QVERIFY(!answer);
        QVERIFY(timeOf([&](auto done) { port.focus(nullptr, box, done); }) < 1500);
    }
};

QTEST_GUILESS_MAIN(AccessibilityContractTest)
#include "AccessibilityContractTest.moc"
