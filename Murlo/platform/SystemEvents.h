#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// Sleep, power-off and the end of the session, told before they happen; the system waits shortly
/// for the handlers. Main thread.
class SystemEvents : public Port {
public:
    /// The machine is about to sleep.
    std::function<void()> onWillSleep;
    /// The machine is about to be switched off or started anew.
    std::function<void()> onWillPowerOff;
    /// The process was asked to end by SIGTERM, SIGINT or SIGHUP.
    std::function<void()> onTerminationSignal;

    /// Begins to listen; handlers may be set before or after.
    virtual void start() = 0;
};

} // namespace murlo
