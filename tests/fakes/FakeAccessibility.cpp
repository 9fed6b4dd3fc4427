#include "tests/fakes/FakeAccessibility.h"

namespace murlo {

class FakeAccessibility::Element : public AccessibleElement {
public:
    explicit Element(std::shared_ptr<Node> shared)
        : node(std::move(shared)) {}

    [[nodiscard]] bool isSame(const AccessibleElement& other) const override {
        const auto* element = dynamic_cast<const Element*>(&other);
        return element && element->node == node;
    }
    [[nodiscard]] qint64 pid() const override { return node->pid; }

    const std::shared_ptr<Node> node;
};

namespace {

constexpr double askLimit = 0.4;
constexpr double focusLimit = 1;

} // namespace

ElementRef FakeAccessibility::add(const QString& role, const ElementRef& parent) {
    const auto node = std::make_shared<Node>();
    if (!role.isEmpty()) node->strings.insert(QStringLiteral("AXRole"), role);
    if (parent) {
        node->pid = parent->pid();
        node->elements.insert(QStringLiteral("AXParent"), parent);
    }
    return std::make_shared<Element>(node);
}

ElementRef FakeAccessibility::sameAgain(const ElementRef& element) const {
    return std::make_shared<Element>(static_cast<const Element&>(*element).node);
}

FakeAccessibility::Node& FakeAccessibility::node(const ElementRef& element) {
    return *static_cast<const Element&>(*element).node;
}

const FakeAccessibility::Node* FakeAccessibility::answering(const ElementRef& element) const {
    if (!element) return nullptr;
    const Node& node = *static_cast<const Element&>(*element).node;
    return node.hung || node.gone ? nullptr : &node;
}

std::optional<QString> FakeAccessibility::string(const ElementRef& element,
                                                 const QString& attribute) const {
    const Node* const node = answering(element);
    if (!node || !node->strings.contains(attribute)) return std::nullopt;
    return node->strings.value(attribute);
}

ElementRef FakeAccessibility::element(const ElementRef& element, const QString& attribute) const {
    const Node* const node = answering(element);
    return node ? node->elements.value(attribute) : nullptr;
}

bool FakeAccessibility::isSettable(const ElementRef& element, const QString& attribute) const {
    const Node* const node = answering(element);
    return node && node->settable.contains(attribute);
}

std::optional<QRectF> FakeAccessibility::frame(const ElementRef& element) const {
    const Node* const node = answering(element);
    return node ? node->frame : std::nullopt;
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

void FakeAccessibility::askRole(const ElementRef& element, std::function<void(bool)> answered) {
    const bool answers = string(element, QStringLiteral("AXRole")).has_value();
    later(node(element).hung ? askLimit : 0,
          [answers, answered = std::move(answered)] { answered(answers); });
}

void FakeAccessibility::focus(const ElementRef& window, const ElementRef& element,
                              std::function<void()> done) {
    if (answering(element)) {
        if (window) raised.append(window);
        m_focused = element;
    }
    later(node(element).hung ? focusLimit : node(element).focusTakes, std::move(done));
}

} // namespace murlo
