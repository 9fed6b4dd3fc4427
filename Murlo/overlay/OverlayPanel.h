#pragma once

#include "platform/Port.h"

#include <functional>
#include <memory>

namespace murlo {

class OverlayModel;

/// The window that shows the recording card. Main thread.
class OverlayPanel : public Port {
public:
    /// Puts the window onto the pointer's screen, above all others, without taking the focus.
    virtual void orderFront() = 0;
    /// Takes the window off the screen.
    virtual void orderOut() = 0;
};

/// Makes the panel for a model, which outlives it; nothing where there is no display.
using MakeOverlayPanel = std::function<std::unique_ptr<OverlayPanel>(OverlayModel&)>;

} // namespace murlo
