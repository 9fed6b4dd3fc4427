#pragma once

#include "platform/linux/atspi/AtspiTree.h"
#include "tests/contract/RealAccessibility.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeTree.h"
#include "tests/harness/desktop/TargetApp.h"

namespace murlo {

/// Two programs on the accessibility bus: one whose only window has a line of text with the focus,
/// and another.
class AccessibilityWorld : public ContractWorld {
public:
    [[nodiscard]] virtual bool start() = 0;
    [[nodiscard]] virtual Accessibility& accessibility() = 0;
    [[nodiscard]] virtual AccessibilityTree& tree() = 0;
    /// The first program takes no calls any more, or takes them again.
    virtual void setHung(bool hung) = 0;
    virtual void endProgram() = 0;
    /// The other program comes to the front.
    virtual void switchAway() = 0;
    [[nodiscard]] virtual qint64 pid() const = 0;

    [[nodiscard]] bool hasFocus() {
        const auto element = accessibility().focusedElement();
        return element && element->pid() == pid();
    }
};

class FakeAccessibilityWorld : public AccessibilityWorld {
public:
    bool start() override {
        m_accessibility.setFocused(m_box);
        return true;
    }
    Accessibility& accessibility() override { return m_accessibility; }
    AccessibilityTree& tree() override { return m_tree; }
    void setHung(bool hung) override {
        m_accessibility.node(m_box).hung = m_tree.applications.at(pid()).hung = hung;
    }
    void endProgram() override {
        m_accessibility.node(m_box).gone = true;
        m_accessibility.setFocused(nullptr);
        m_tree.applications.at(pid()) = {};
    }
    void switchAway() override {
        const auto other = m_accessibility.add("AXTextArea");
        m_accessibility.node(other).pid = pid() + 1;
        m_accessibility.setFocused(other);
    }
    qint64 pid() const override { return m_box->pid(); }

private:
    QtScheduler m_scheduler;
    FakeAccessibility m_accessibility{m_scheduler};
    FakeTree m_tree{m_scheduler,
                    {"application zenity", "  focused 20 60 300 30", "  window 10 20 400 200",
                     "    AXTextField 20 60 300 30"},
                    &m_accessibility};
    ElementRef m_box =
        m_tree.applications.at(10).from.at(1).windows.front().root.children.front().element;
};

class RealAccessibilityWorld : public AccessibilityWorld {
public:
    bool start() override {
        return m_other.start() && m_program.start() && QTest::qWaitFor([this] {
                   return hasFocus() && m_real.adapter.focusedElement()->window();
               });
    }
    Accessibility& accessibility() override { return m_real.adapter; }
    AccessibilityTree& tree() override { return m_tree; }
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
    AtspiTree m_tree{m_real.adapter.bus(), m_real.adapter,
                     [this] { return m_real.applications.windowsOnScreen(); }};
};

} // namespace murlo
