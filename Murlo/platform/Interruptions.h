#pragma once

#include <functional>

namespace murlo {

/// What the user does elsewhere: a mouse button pressed anywhere, another virtual desktop, a screen
/// that came, went or moved. Main thread.
class Interruptions {
public:
    /// Told once for each, while watching.
    std::function<void()> onInterruption;

    Interruptions() = default;
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;
    virtual ~Interruptions() = default;

    /// Begins or ends watching; nothing is listened to in between.
    virtual void setWatching(bool watching) = 0;
};

} // namespace murlo
