#pragma once

#include "platform/Accessibility.h"
#include "platform/Scheduler.h"

#include <QList>

#include <vector>

namespace murlo {

/// What an element says that is described by the names of its role and, after '/', its subrole
/// ("AXTextArea/AXTerminal"): a text box takes the focus and a text. Another name ends the program.
[[nodiscard]] ElementFacts factsNamed(const QString& name);

/// A tree of elements in memory, of any number of applications. Answers that come later come on a
/// later turn of the scheduler; those of a hung element come when the time limit does.
class FakeAccessibility : public Accessibility {
public:
    /// What one element says of itself.
    struct Node {
        qint64 pid = 1;
        ElementFacts facts;
        ElementRef parent;
        ElementRef window;
        double focusTakes = 0; ///< seconds
        bool hung = false;
        bool gone = false;
    };

    explicit FakeAccessibility(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    /// A new element that is described by `name`, below `parent` if there is one.
    ElementRef add(const QString& name, const ElementRef& parent = nullptr);
    /// Another handle of the same element.
    [[nodiscard]] ElementRef sameAgain(const ElementRef& element) const;
    [[nodiscard]] Node& node(const ElementRef& element);
    void setFocused(const ElementRef& element) { m_focused = element; }
    /// The next `recheckFocus` finds that this one has the focus.
    void setFoundLater(const ElementRef& element) { m_foundLater = element; }
    void setTrusted(bool trusted) { m_trusted = trusted; }

    /// Windows that were raised, in order.
    QList<ElementRef> raised;

    [[nodiscard]] bool isTrusted() const override { return m_trusted; }
    void requestTrust() override { m_trusted = true; }
    [[nodiscard]] ElementRef focusedElement() const override { return m_focused; }
    void recheckFocus(std::function<void()> corrected) override;
    void askIfAlive(const ElementRef& element, std::function<void(bool)> answered) override;
    void focus(const ElementRef& window, const ElementRef& element,
               std::function<void()> done) override;

private:
    class Element;

    void later(double seconds, Work work);

    Scheduler& m_scheduler;
    bool m_trusted = true;
    ElementRef m_focused;
    std::optional<ElementRef> m_foundLater;
    std::vector<ScheduledWork> m_delays;
    Lifetime m_lifetime;
};

} // namespace murlo
