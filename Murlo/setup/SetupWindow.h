#pragma once

#include "MurloKit/OnboardingPhase.h"
#include "platform/Port.h"

namespace murlo {

/// The wizard's window, as its controller needs it. It renders the controller's record whenever
/// that has changed, and calls `abandon` when its user closes it. Main thread.
class SetupWindow : public Port {
public:
    /// Shows it, in front of others; `takesFocus`: the keyboard goes to it as well.
    virtual void show(bool takesFocus) = 0;
    /// Another phase begins: no text box has the focus any more, and the window grows or shrinks to
    /// the phase's size around its top edge's centre.
    virtual void turnTo(OnboardingPhase phase) = 0;
    /// Hides it for good.
    virtual void hide() = 0;
};

} // namespace murlo
