#pragma once

#include "MurloKit/ElementFacts.h"
#include "platform/Port.h"

#include <functional>
#include <memory>

namespace murlo {

class AccessibleElement;
using ElementRef = std::shared_ptr<const AccessibleElement>;

/// One element of another application's user interface, with what was fetched together with it: no
/// question waits for the other program, and what did not come in time reads as absent. Cheap to
/// copy around by its `ElementRef`.
class AccessibleElement : public Port {
public:
    /// Of an element and those around it, how many are known together.
    static constexpr int levels = 4;

    /// Whether both handles name the same element, as the platform tells elements apart.
    [[nodiscard]] virtual bool isSame(const AccessibleElement& other) const = 0;
    /// Process of the owning application; 0 when unknown.
    [[nodiscard]] virtual qint64 pid() const = 0;
    [[nodiscard]] virtual ElementFacts facts() const = 0;
    /// The element directly around this one; null when unknown.
    [[nodiscard]] virtual ElementRef parent() const = 0;
    /// The window that holds it; null when unknown, which it may be for a moment.
    [[nodiscard]] virtual ElementRef window() const = 0;
};

/// Whether text can be put into an element (which may be null) or into what is directly around it.
[[nodiscard]] inline bool takesText(ElementRef element) {
    for (int i = 0; i < AccessibleElement::levels && element; ++i, element = element->parent())
        if (isTextBox(element->facts())) return true;
    return false;
}

/// What other applications say of their user interface. Main thread. No call waits for another
/// program.
class Accessibility : public Port {
public:
    /// Whether this desktop's accessibility is switched on and reachable.
    [[nodiscard]] virtual bool isTrusted() const = 0;
    /// Switches it on where that can be done; `isTrusted` tells later whether it worked.
    virtual void requestTrust() = 0;

    /// The element with keyboard focus, or nothing: no focus, not known yet, or the active window
    /// belongs to a program that tells nothing of itself.
    [[nodiscard]] virtual ElementRef focusedElement() const = 0;

    /// Asks whether the focused element still has the focus, where events may not have told: if it
    /// has not, another answer takes its place within a second. `corrected` is called on a later
    /// turn after each such change, not at all if there is none.
    virtual void recheckFocus(std::function<void()> corrected) = 0;

    /// Asks an element whether it is still there, and calls back on a later turn with whether it
    /// answered within 0.4 s.
    virtual void askIfAlive(const ElementRef& element, std::function<void(bool)> answered) = 0;

    /// Brings the element's application to the front, raises `window` (may be null) and gives
    /// `element` the keyboard focus, then calls back on a later turn, at most 1 s after the call.
    /// Nothing waits for the focus to settle.
    virtual void focus(const ElementRef& window, const ElementRef& element,
                       std::function<void()> done) = 0;
};

} // namespace murlo
