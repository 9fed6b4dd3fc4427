#pragma once

#include "platform/Reachability.h"

namespace murlo {

/// A network that comes back when the test says so.
class FakeReachability : public Reachability {
public:
    void watch() override { watched = true; }
    [[nodiscard]] bool isConnected() const override { return connected; }
    void comeBack() {
        if (watched) Q_EMIT cameBack();
    }

    bool watched = false;
    bool connected = true;
};

} // namespace murlo
