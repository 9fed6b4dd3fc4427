#include "triggers/InputTarget.h"
#include "tests/support/FakeAccessibility.h"
#include "tests/support/FakeApplications.h"
#include "tests/support/VirtualScheduler.h"
#include "triggers/FocusVerdict.h"

#include <QtTest>

using namespace murlo;

namespace {

const QString value = QStringLiteral("AXValue");

} // namespace

class InputTargetTest : public QObject {
    Q_OBJECT

private:
    VirtualScheduler m_scheduler;
    std::unique_ptr<FakeAccessibility> m_accessibility;
    std::unique_ptr<FakeApplications> m_applications;
    std::unique_ptr<InputTargets> m_targets;
    ScreenGeometry m_screens;

private Q_SLOTS:
    void init() {
        m_accessibility = std::make_unique<FakeAccessibility>(m_scheduler);
        m_applications = std::make_unique<FakeApplications>();
        m_screens = {{{-1920, 0, 1920, 1200}, {0, 0, 1280, 900}}};
        m_targets = std::make_unique<InputTargets>(*m_accessibility, *m_applications,
                                                   [this] { return m_screens; });
    }

    void focusIsJudgedByTheNearestFourElements_data() {
        // Each element: role, '/' subrole, '=' for a settable value; from the focused one upwards.
        QTest::addColumn<QStringList>("elements");
        QTest::addColumn<bool>("editable");
        const auto row = [](const char* name, const char* elements, bool editable) {
            QTest::newRow(name) << QString::fromLatin1(elements).split(QLatin1Char(' '))
                                << editable;
        };
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
        row("fourth ancestor", "AXStaticText AXGroup AXGroup AXGroup AXTextArea", false);
    }
    void focusIsJudgedByTheNearestFourElements() {
        QFETCH(QStringList, elements);
        ElementRef element;
        for (auto it = elements.rbegin(); it != elements.rend(); ++it) {
            QString role = *it;
            const bool settable = role.endsWith(QLatin1Char('='));
            if (settable) role.chop(1);
            element = m_accessibility->add(role.section(QLatin1Char('/'), 0, 0), element);
            auto& node = m_accessibility->node(element);
            if (settable) node.settable.insert(value);
            if (role.contains(QLatin1Char('/')))
                node.strings.insert(QStringLiteral("AXSubrole"), role.section(QLatin1Char('/'), 1));
        }
        m_accessibility->setFocused(element);
        const auto verdict = focusVerdict(*m_accessibility);
        QVERIFY(verdict);
        QTEST(verdict->editable, "editable");
        QCOMPARE(verdict->element, element); // never the ancestor that decided
        QCOMPARE(m_targets->captureFocused().has_value(), verdict->editable);
    }

    void theCapturedTargetDescribesTheBox() {
        const ElementRef window = m_accessibility->add(QStringLiteral("AXWindow"));
        const ElementRef box = m_accessibility->add(QStringLiteral("AXTextField"), window);
        auto& node = m_accessibility->node(box);
        node.pid = 4711;
        node.frame = QRectF(100, 200, 300, 40);
        node.elements.insert(QStringLiteral("AXWindow"), window);
        m_accessibility->setFocused(box);
        m_applications->running.insert(4711, {std::nullopt, QStringLiteral("Notes")});

        auto target = m_targets->captureFocused();
        QVERIFY(target);
        QCOMPARE(target->element, box);
        QCOMPARE(target->window, window);
        QCOMPARE(target->pid, 4711);
        QCOMPARE(target->appName, QStringLiteral("Notes"));
        QCOMPARE(target->frame, QRectF(100, 660, 300, 40)); // 900 - 200 - 40
        QCOMPARE(target->hint, QString());

        // What is unknown has its stand-ins; what has no process is no target.
        node.frame.reset();
        node.elements.clear();
        m_applications->running.clear();
        target = m_targets->captureFocused();
        QVERIFY(target);
        QCOMPARE(target->window, nullptr);
        QCOMPARE(target->appName, QStringLiteral("app"));
        QCOMPARE(target->frame, QRectF());
        node.pid = 0;
        QVERIFY(!m_targets->captureFocused());
        m_accessibility->setFocused(nullptr);
        QVERIFY(!m_targets->captureFocused());
    }

    void thePrimaryScreenIsTheOneAtTheOrigin() {
        QCOMPARE(m_screens.primaryHeight(), 900.0);
        QCOMPARE((ScreenGeometry{{{10, 0, 800, 600}, {900, 0, 1, 1}}}).primaryHeight(), 600.0);
        QCOMPARE(ScreenGeometry{}.primaryHeight(), 0.0);
    }

    void aTargetThatLostTheFocusGetsItBack() {
        const ElementRef window = m_accessibility->add(QStringLiteral("AXWindow"));
        const ElementRef box = m_accessibility->add(QStringLiteral("AXTextField"), window);
        m_accessibility->node(box).elements.insert(QStringLiteral("AXWindow"), window);
        m_accessibility->setFocused(box);
        const auto target = m_targets->captureFocused();
        QVERIFY(target);

        m_accessibility->setFocused(m_accessibility->sameAgain(box)); // another handle
        QVERIFY(m_targets->isStillFocused(*target));
        m_accessibility->setFocused(nullptr);
        QVERIFY(!m_targets->isStillFocused(*target));
        m_accessibility->setFocused(window);
        QVERIFY(!m_targets->isStillFocused(*target));

        bool done = false;
        m_targets->bringIntoFocus(*target, [&] { done = true; });
        QVERIFY(!done);
        m_scheduler.runPending();
        QVERIFY(done);
        QVERIFY(m_targets->isStillFocused(*target));
        QCOMPARE(m_accessibility->raised, QList<ElementRef>{window});
    }

    void aBoxIsAliveAsLongAsItAnswers() {
        const ElementRef box = m_accessibility->add(QStringLiteral("AXTextField"));
        InputTarget target;
        target.element = box;
        std::optional<bool> alive;
        const auto ask = [&] {
            alive.reset();
            m_targets->isAlive(target, [&](bool answer) { alive = answer; });
            m_scheduler.runPending();
        };
        ask();
        QCOMPARE(alive, true);
        m_accessibility->node(box).gone = true;
        ask();
        QCOMPARE(alive, false);
        m_accessibility->node(box).hung = true;
        ask();
        QVERIFY(!alive);
        m_scheduler.advance(0.4);
        QCOMPARE(alive, false);
    }
};

QTEST_GUILESS_MAIN(InputTargetTest)
#include "InputTargetTest.moc"
