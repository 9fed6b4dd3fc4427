#pragma once

#include "platform/InstallLocation.h"

namespace murlo {

/// Here a program works wherever it lies.
class AnyLocation : public InstallLocation {
public:
    [[nodiscard]] bool needsMoving() const override { return false; }
    [[nodiscard]] tl::expected<void, QString> move() override { return {}; }
    void openCopy(std::function<void()> done) override { done(); }
};

} // namespace murlo
