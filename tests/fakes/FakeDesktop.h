#pragma once

#include "platform/Desktop.h"

#include <QStringList>

namespace murlo {

/// A desktop as the test wants it.
class FakeDesktop : public Desktop {
public:
    [[nodiscard]] bool reducesMotion() const override { return reduced; }
    void awaitTray(std::function<void()> there) override { onTray = std::move(there); }
    void open(const QString& path, std::function<void(bool)> done) override {
        opened.append(path);
        done(opens);
    }

    bool reduced = false;
    bool opens = true;
    QStringList opened;
    std::function<void()> onTray; ///< who waits for a tray
};

} // namespace murlo
