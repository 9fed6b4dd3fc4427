#pragma once

#include "platform/SystemEvents.h"

namespace murlo {

/// A system that sleeps and ends when the test says so.
class FakeSystemEvents : public SystemEvents {
public:
    void start() override { started = true; }

    void sleep() {
        if (started && onWillSleep) onWillSleep();
    }
    void powerOff() {
        if (started && onWillPowerOff) onWillPowerOff();
    }
    void terminate() {
        if (started && onTerminationSignal) onTerminationSignal();
    }

    bool started = false;
};

} // namespace murlo
