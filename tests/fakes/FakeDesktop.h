#pragma once

#include "platform/Desktop.h"

namespace murlo {

/// A desktop without a tray, which opens whatever it is asked to.
class FakeDesktop : public Desktop {
public:
    [[nodiscard]] bool reducesMotion() const override { return reduced; }
    void awaitTray(std::function<void()>) override {}
    void open(const QString& target, std::function<void(bool)> done) override {
        opened << target;
        done(opens);
    }

    bool reduced = false;
    bool opens = true;
    QStringList opened;
};

} // namespace murlo
