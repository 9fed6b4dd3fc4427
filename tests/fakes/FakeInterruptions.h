#pragma once

#include "platform/Interruptions.h"

namespace murlo {

/// A user who does nothing elsewhere unless the test says so.
class FakeInterruptions : public Interruptions {
public:
    void setWatching(bool on) override { watching = on; }
    bool watching = false;
};

} // namespace murlo
