#pragma once

#include "platform/Accessibility.h"

#include <QRectF>
#include <QString>

#include <functional>
#include <optional>

namespace murlo {

/// One text box on the screen.
struct InputTarget {
    ElementRef element;
    /// The window that holds the box; null when unknown.
    ElementRef window;
    qint64 pid = 0;
    /// The application's name for the user, "app" when it has none; empty when it was not read.
    QString appName;
    /// In device pixels, origin at the top left of the primary screen, y growing downwards.
    QRectF frame;
    /// The label shown and typed for this box; empty until labelled.
    QString hint;
};

/// Operations on the text boxes of other programs. Main thread; nothing blocks.
class InputTargets {
public:
    explicit InputTargets(Accessibility& accessibility)
        : m_accessibility(accessibility) {}

    /// The text box that has keyboard focus, or nothing: no focus, or none that takes text. Its
    /// name and frame stay empty: they are not read, to keep the start of a dictation fast.
    [[nodiscard]] std::optional<InputTarget> captureFocused() const;

    /// Verifies the focus, and calls back on a later turn each time that changes the result of
    /// `captureFocused`.
    void recheckFocus(std::function<void()> corrected) const;

    /// Whether the box has the keyboard focus; false when it is not known who has.
    [[nodiscard]] bool isStillFocused(const InputTarget& target) const;

    /// Tells on a later turn whether the box still exists: it answers within 0.4 s.
    void isAlive(const InputTarget& target, std::function<void(bool)> answered) const;

    /// Brings the box's application and window to the front and gives it the focus, then calls
    /// back, at most 1 s later. The focus may need a moment more to settle.
    void bringIntoFocus(const InputTarget& target, std::function<void()> completion) const;

private:
    Accessibility& m_accessibility;
};

} // namespace murlo
