#include "targets/InputTarget.h"

#include "targets/FocusVerdict.h"

namespace murlo {

std::optional<InputTarget> InputTargets::captureFocused() const {
    const auto verdict = focusVerdict(m_accessibility);
    if (!verdict || !verdict->editable || verdict->element->pid() < 1) return std::nullopt;
    const ElementRef& box = verdict->element;
    return InputTarget{box, box->window(), box->pid(), {}, {}, {}};
}

void InputTargets::recheckFocus(std::function<void()> corrected) const {
    m_accessibility.recheckFocus(std::move(corrected));
}

bool InputTargets::isStillFocused(const InputTarget& target) const {
    const ElementRef focused = m_accessibility.focusedElement();
    return focused && focused->isSame(*target.element);
}

void InputTargets::isAlive(const InputTarget& target, std::function<void(bool)> answered) const {
    m_accessibility.askIfAlive(target.element, std::move(answered));
}

void InputTargets::bringIntoFocus(const InputTarget& target,
                                  std::function<void()> completion) const {
    m_accessibility.focus(target.window, target.element, std::move(completion));
}

} // namespace murlo
