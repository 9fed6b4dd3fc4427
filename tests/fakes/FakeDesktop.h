#pragma once

#include "platform/Desktop.h"

#include <QMap>
#include <QStringList>

namespace murlo {

/// A desktop as the test wants it.
class FakeDesktop : public Desktop {
public:
    [[nodiscard]] bool reducesMotion() const override { return reduced; }
    [[nodiscard]] bool isComposited() const override { return composited; }
    void keepAbove(quint64 window, PanelLevel level) override { kept[window] = level; }
    void letGo(quint64 window) override { kept.remove(window); }
    void awaitTray(std::function<void()> there) override { onTray = std::move(there); }
    void open(const QString& path, std::function<void(bool)> done) override {
        opened.append(path);
        done(opens);
    }

    bool reduced = false;
    bool composited = true;
    bool opens = true;
    QMap<quint64, PanelLevel> kept;
    QStringList opened;
    std::function<void()> onTray; ///< who waits for a tray
};

} // namespace murlo
