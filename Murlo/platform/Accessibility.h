#pragma once

#include "platform/Port.h"

#include <QRectF>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace murlo {

/// One element of another application's user interface: an opaque handle, cheap to copy around.
class AccessibleElement : public Port {
public:
    /// Whether both handles name the same element, as the platform tells elements apart.
    [[nodiscard]] virtual bool isSame(const AccessibleElement& other) const = 0;
    /// Process of the owning application; 0 when unknown.
    [[nodiscard]] virtual qint64 pid() const = 0;
};

using ElementRef = std::shared_ptr<const AccessibleElement>;

/// What other applications say of their user interface. Main thread. No call waits for another
/// program: attributes were fetched together with the element, and what did not come in time reads
/// as absent.
///
/// Attributes answered: strings "AXRole", "AXSubrole", "AXTitle"; elements "AXParent", "AXWindow";
/// settability of "AXValue" and "AXFocused". Roles and subroles carry the names that the readers of
/// this port use ("AXTextField", "AXTextArea", "AXComboBox", "AXCheckBox", "AXSearchField", …); one
/// table in the adapter maps this desktop's roles onto them. A terminal reads as "AXTextArea" with
/// the subrole "AXTerminal"; read-only text views have no settable value and none of the editable
/// roles.
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

    [[nodiscard]] virtual std::optional<QString> string(const ElementRef& element,
                                                        const QString& attribute) const = 0;
    [[nodiscard]] virtual ElementRef element(const ElementRef& element,
                                             const QString& attribute) const = 0;
    /// False also when the question was not answered.
    [[nodiscard]] virtual bool isSettable(const ElementRef& element,
                                          const QString& attribute) const = 0;
    /// Position and size in global coordinates, origin at the top left of the primary screen, y
    /// growing downwards, in device pixels; absent when either is unknown.
    [[nodiscard]] virtual std::optional<QRectF> frame(const ElementRef& element) const = 0;

    /// Asks the element now for its "AXRole" and calls back on a later turn with whether a string
    /// came back within 0.4 s.
    virtual void askRole(const ElementRef& element, std::function<void(bool)> answered) = 0;

    /// Brings the element's application to the front, raises `window` (may be null) and gives
    /// `element` the keyboard focus, then calls back on a later turn, at most 1 s after the call.
    /// Nothing waits for the focus to settle.
    virtual void focus(const ElementRef& window, const ElementRef& element,
                       std::function<void()> done) = 0;
};

} // namespace murlo
