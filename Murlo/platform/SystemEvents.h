#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// Sleep, power-off and the end of the session, reported before they happen; the system waits
/// briefly for the handlers. Main thread.
class SystemEvents : public Port {
public:
    /// The machine is about to sleep.
    std::function<void()> onWillSleep;
    /// The machine is about to shut down or restart.
    std::function<void()> onWillPowerOff;
    /// The process was asked to end by SIGTERM, SIGINT or SIGHUP.
    std::function<void()> onTerminationSignal;

    /// Starts to listen; handlers may be set before or after.
    virtual void start() = 0;
};

} // namespace murlo
