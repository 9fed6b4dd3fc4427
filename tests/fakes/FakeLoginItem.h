#pragma once

#include "platform/LoginItem.h"

namespace murlo {

/// A login item that counts how often it was set.
class FakeLoginItem : public LoginItem {
public:
    [[nodiscard]] bool isEnabled() const override { return enabled; }
    [[nodiscard]] tl::expected<void, QString> setEnabled(bool on) override {
        ++timesSet;
        if (refuses) return tl::unexpected(QStringLiteral("the disk is full"));
        enabled = on;
        return {};
    }

    bool enabled = false;
    bool refuses = false;
    int timesSet = 0;
};

} // namespace murlo
