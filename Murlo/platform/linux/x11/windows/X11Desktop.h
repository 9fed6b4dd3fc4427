#pragma once

#include "platform/Desktop.h"
#include "platform/linux/freedesktop/MotionPreference.h"
#include "platform/linux/freedesktop/TrayWatch.h"
#include "platform/linux/x11/windows/RootWatch.h"

#include <memory>

namespace murlo {

/// `Desktop` on an X server: the XEmbed tray by its selection, everything else over the session
/// bus.
class X11Desktop : public Desktop {
public:
    explicit X11Desktop(std::shared_ptr<RootWatch> watch);

    [[nodiscard]] bool reducesMotion() const override { return m_motion.isReduced(); }
    void awaitTray(std::function<void()> there) override;
    void open(const QString& path, std::function<void(bool)> done) override;

private:
    void trayFound();

    std::shared_ptr<RootWatch> m_watch;
    bool m_hasTray = false;
    std::function<void()> m_onTray;
    MotionPreference m_motion;
    TrayWatch m_trayWatch;
};

} // namespace murlo
