#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// User actions outside of Murlo: a mouse button pressed anywhere, a switch of the virtual desktop,
/// a screen added, removed or moved. Main thread.
class Interruptions : public Port {
public:
    /// Called for each, while watching.
    std::function<void()> onInterruption;

    /// Starts or stops watching.
    virtual void setWatching(bool watching) = 0;
};

} // namespace murlo
