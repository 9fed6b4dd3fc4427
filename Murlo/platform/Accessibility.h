#pragma once

#include "MurloKit/ElementFacts.h"
#include "platform/Port.h"

#include <functional>
#include <memory>

namespace murlo {

class AccessibleElement;
using ElementRef = std::shared_ptr<const AccessibleElement>;

/// One element of another application's user interface, with the properties that were fetched
/// together: no getter blocks on the other program, and what did not arrive in time is absent.
/// Cheap to copy by its `ElementRef`.
class AccessibleElement : public Port {
public:
    /// How many levels are fetched together: an element and its ancestors.
    static constexpr int levels = 4;

    /// Whether both handles refer to the same element of the platform.
    [[nodiscard]] virtual bool isSame(const AccessibleElement& other) const = 0;
    /// Process of the owning application; 0 when unknown.
    [[nodiscard]] virtual qint64 pid() const = 0;
    [[nodiscard]] virtual ElementFacts facts() const = 0;
    /// The parent element; null when unknown.
    [[nodiscard]] virtual ElementRef parent() const = 0;
    /// The window that holds it; null when unknown; it may become known shortly after.
    [[nodiscard]] virtual ElementRef window() const = 0;
};

/// Whether text can be put into an element (which may be null) or one of its known ancestors.
[[nodiscard]] inline bool takesText(ElementRef element) {
    for (int i = 0; i < AccessibleElement::levels && element; ++i, element = element->parent())
        if (isTextBox(element->facts())) return true;
    return false;
}

/// Other applications' user interfaces. Main thread. No call blocks on another program.
class Accessibility : public Port {
public:
    /// Whether this desktop's accessibility is switched on and reachable.
    [[nodiscard]] virtual bool isTrusted() const = 0;
    /// Switches it on where that can be done; `isTrusted` shows later whether it worked.
    virtual void requestTrust() = 0;

    /// The element with keyboard focus, or nothing: no focus, not known yet, or the active window
    /// belongs to a program without accessibility.
    [[nodiscard]] virtual ElementRef focusedElement() const = 0;

    /// Verifies that the focused element still has the focus, since events may be missing; if not,
    /// `focusedElement` is corrected within a second. `corrected` is called on a later turn after
    /// each such change, not at all if there is none.
    virtual void recheckFocus(std::function<void()> corrected) = 0;

    /// Asks an element whether it is still there, and calls back on a later turn with whether it
    /// answered within 0.4 s.
    virtual void askIfAlive(const ElementRef& element, std::function<void(bool)> answered) = 0;

    /// Brings the element's application to the front, raises `window` (may be null) and gives
    /// `element` the keyboard focus, then calls back on a later turn, at most 1 s after the call.
    /// The focus may take longer to settle.
    virtual void focus(const ElementRef& window, const ElementRef& element,
                       std::function<void()> done) = 0;
};

} // namespace murlo
