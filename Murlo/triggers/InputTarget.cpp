#include "triggers/InputTarget.h"

#include "triggers/FocusVerdict.h"

namespace murlo {

InputTargets::InputTargets(Accessibility& accessibility, Applications& applications,
                           std::function<ScreenGeometry()> screens)
    : m_accessibility(accessibility)
    , m_applications(applications)
    , m_screens(std::move(screens)) {}

std::optional<InputTarget> InputTargets::captureFocused() const {
    const auto verdict = focusVerdict(m_accessibility);
    if (!verdict || !verdict->editable || verdict->element->pid() < 1) return std::nullopt;
    InputTarget target;
    target.element = verdict->element;
    target.window = m_accessibility.element(target.element, QStringLiteral("AXWindow"));
    target.pid = target.element->pid();
    target.appName = m_applications.name(target.pid).value_or(QStringLiteral("app"));
    if (const auto frame = m_accessibility.frame(target.element))
        target.frame = m_screens().flipped(*frame);
    return target;
}

bool InputTargets::isStillFocused(const InputTarget& target) const {
    const ElementRef focused = m_accessibility.focusedElement();
    return focused && focused->isSame(*target.element);
}

void InputTargets::isAlive(const InputTarget& target, std::function<void(bool)> answered) const {
    m_accessibility.askRole(target.element, std::move(answered));
}

void InputTargets::bringIntoFocus(const InputTarget& target,
                                  std::function<void()> completion) const {
    m_accessibility.focus(target.window, target.element, std::move(completion));
}

} // namespace murlo
