#pragma once

#include "platform/Accessibility.h"
#include "platform/Applications.h"
#include "triggers/ScreenGeometry.h"

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
    /// The application's name for the user, "app" when it has none.
    QString appName;
    /// In device pixels, origin at the bottom left of the primary screen, y growing upwards.
    QRectF frame;
    /// The label shown and typed for this box; empty until labelled.
    QString hint;
};

/// What can be done with the text boxes of other programs. Main thread; nothing waits.
class InputTargets {
public:
    /// `screens` is asked anew for each capture.
    InputTargets(Accessibility& accessibility, Applications& applications,
                 std::function<ScreenGeometry()> screens);

    /// The text box that has keyboard focus, or nothing: no focus, or none that takes text.
    [[nodiscard]] std::optional<InputTarget> captureFocused() const;

    /// Whether the box has the keyboard focus; false when it is not known who has.
    [[nodiscard]] bool isStillFocused(const InputTarget& target) const;

    /// Tells on a later turn whether the box still exists: it answers within 0.4 s.
    void isAlive(const InputTarget& target, std::function<void(bool)> answered) const;

    /// Brings the box's application and window to the front and gives it the focus, then calls
    /// back, at most 1 s later. The focus may need a moment more to settle.
    void bringIntoFocus(const InputTarget& target, std::function<void()> completion) const;

private:
    Accessibility& m_accessibility;
    Applications& m_applications;
    std::function<ScreenGeometry()> m_screens;
};

} // namespace murlo
