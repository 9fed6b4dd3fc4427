#pragma once

#include "platform/LoginItem.h"

namespace murlo {

/// A login item that counts how often it was set.
class FakeLoginItem : public LoginItem {
public:
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    void setEnabled(bool on) override {
        enabled = on;
        ++timesSet;
    }

    bool enabled = false;
    int timesSet = 0;
};

} // namespace murlo
