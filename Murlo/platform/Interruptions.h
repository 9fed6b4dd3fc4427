#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// What the user does elsewhere: a mouse button pressed anywhere, another virtual desktop, a screen
/// that came, went or moved. Main thread.
class Interruptions : public Port {
public:
    /// Told once for each, while watching.
    std::function<void()> onInterruption;

    /// Begins or ends watching; nothing is listened to in between.
    virtual void setWatching(bool watching) = 0;
};

} // namespace murlo
