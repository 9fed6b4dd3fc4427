#pragma once

#include "platform/Scheduler.h"
#include "platform/Surfaces.h"

#include <QRect>

#include <memory>

namespace murlo {

class Settings;

/// Where the callout points and stands, in screen coordinates.
struct CalloutPlacement {
    QRect frame;       ///< of the card without its arrow
    QPoint tip;        ///< of the arrow
    bool above = true; ///< the arrow is above the card
};

/// Places a callout of a size at the status item: 8 points away from it, centred on it as far as
/// the screen allows. If the tray does not report the item's position (`item` empty), it is assumed
/// at the right end of the screen edge with the widest panel; `visible` is the screen without
/// panels.
[[nodiscard]] CalloutPlacement calloutPlacement(const QSize& size, const QRect& item,
                                                const QRect& screen, const QRect& visible);

/// The one-time pointer to the status item, after the set-up. Main thread.
class MenuBarCallout {
public:
    MenuBarCallout(Scheduler& scheduler, Settings& settings, Surfaces& surfaces)
        : m_scheduler(scheduler)
        , m_settings(settings)
        , m_surfaces(surfaces) {}

    /// Shows it for 5 seconds, if it never was before; `item` is the status item's place, empty
    /// where the tray does not tell.
    void showOnce(const QRect& item);

    /// Its size in points, arrow and shadow apart.
    [[nodiscard]] static QSize size();
    /// Paints the card and its arrow.
    static void paint(QPainter& painter, const CalloutPlacement& placement);

private:
    Scheduler& m_scheduler;
    Settings& m_settings;
    Surfaces& m_surfaces;
    std::unique_ptr<Surface> m_surface;
    ScheduledWork m_end;
};

} // namespace murlo
