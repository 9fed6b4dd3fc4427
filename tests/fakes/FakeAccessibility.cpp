#include "tests/fakes/FakeAccessibility.h"

namespace murlo {

namespace {

/// The value of an enumeration, `last` at the most, that has a name.
template <typename Value>
Value named(const QString& name, Value last) {
    for (int i = 0; i <= static_cast<int>(last); ++i)
        if (nameOf(static_cast<Value>(i)) == name) return static_cast<Value>(i);
    qFatal("nothing is called %s", qPrintable(name));
}

} // namespace

ElementFacts factsNamed(const QString& name) {
    ElementFacts facts;
    facts.role = named(name.section(QLatin1Char('/'), 0, 0), ElementRole::window);
    facts.subrole = named(name.section(QLatin1Char('/'), 1), ElementSubrole::terminal);
    facts.focusable = facts.editable = isTextBox(facts);
    return facts;
}

class FakeAccessibility::Element : public AccessibleElement {
public:
    explicit Element(std::shared_ptr<Node> shared)
        : node(std::move(shared)) {}

    [[nodiscard]] bool isSame(const AccessibleElement& other) const override {
        const auto* element = dynamic_cast<const Element*>(&other);
        return element && element->node == node;
    }
    [[nodiscard]] qint64 pid() const override { return node->pid; }
    [[nodiscard]] ElementFacts facts() const override { return node->facts; }
    [[nodiscard]] ElementRef parent() const override { return node->parent; }
    [[nodiscard]] ElementRef window() const override { return node->window; }
    [[nodiscard]] bool answers() const { return !node->hung && !node->gone; }

    const std::shared_ptr<Node> node;
};

ElementRef FakeAccessibility::add(const QString& name, const ElementRef& parent) {
    const auto node = std::make_shared<Node>();
    node->facts = factsNamed(name);
    node->parent = parent;
    if (parent) node->pid = parent->pid();
    return std::make_shared<Element>(node);
}

ElementRef FakeAccessibility::sameAgain(const ElementRef& element) const {
    return std::make_shared<Element>(static_cast<const Element&>(*element).node);
}

FakeAccessibility::Node& FakeAccessibility::node(const ElementRef& element) {
    return *static_cast<const Element&>(*element).node;
}

void FakeAccessibility::recheckFocus(std::function<void()> corrected) {
    if (!m_foundLater) return;
    later(0, [this, corrected = std::move(corrected)] {
        m_focused = *std::exchange(m_foundLater, std::nullopt);
        if (corrected) corrected();
    });
}

void FakeAccessibility::later(double seconds, Work work) {
    if (seconds <= 0)
        m_scheduler.nextTurn(m_lifetime.guard(std::move(work)));
    else
        m_delays.push_back(m_scheduler.after(seconds, std::move(work)));
}

void FakeAccessibility::askIfAlive(const ElementRef& element, std::function<void(bool)> answered) {
    constexpr double limit = 0.4;
    const bool answers = static_cast<const Element&>(*element).answers();
    later(node(element).hung ? limit : 0,
          [answers, answered = std::move(answered)] { answered(answers); });
}

void FakeAccessibility::focus(const ElementRef& window, const ElementRef& element,
                              std::function<void()> done) {
    constexpr double limit = 1;
    if (static_cast<const Element&>(*element).answers()) {
        if (window) raised.append(window);
        m_focused = element;
    }
    later(node(element).hung ? limit : node(element).focusTakes, std::move(done));
}

} // namespace murlo
