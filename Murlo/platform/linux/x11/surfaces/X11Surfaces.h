#pragma once

#include "platform/Scheduler.h"
#include "platform/Surfaces.h"
#include "platform/linux/x11/windows/RootWatch.h"

#include <map>
#include <memory>
#include <vector>

namespace murlo {

class X11Surface;

/// `Surfaces` as override-redirect windows. They are raised again whenever the stacking order
/// changes, and placed again when the screens change.
class X11Surfaces : public Surfaces {
public:
    X11Surfaces(Scheduler& scheduler, std::shared_ptr<RootWatch> watch);
    ~X11Surfaces() override;

    [[nodiscard]] QList<ScreenInfo> screens() const override;
    [[nodiscard]] std::optional<QPoint> pointer() const override;
    [[nodiscard]] bool areTranslucent() const override { return m_composited; }
    [[nodiscard]] std::unique_ptr<Surface> make(SurfaceTraits traits) override;

private:
    friend class X11Surface;
    void followScreens();
    void placeAgain();
    void keepAbove(X11Surface* surface);
    void letGo(X11Surface* surface);
    void raiseAll();

    Scheduler& m_scheduler;
    std::shared_ptr<RootWatch> m_watch;
    bool m_composited = false;
    std::vector<X11Surface*> m_shown;
    Lifetime m_lifetime;
};

} // namespace murlo
