#pragma once

#include "hints/HintMotion.h"
#include "platform/Desktop.h"
#include "platform/Surfaces.h"

#include <QObject>

#include <memory>

namespace murlo {

/// The surface over one screen, above everything, for as long as this object lives. Main thread.
class HintPanel : public QObject, public HintLayer {
    Q_OBJECT

public:
    HintPanel(HintOverlayModel& model, const ScreenInfo& screen, const QList<HintBadge>& badges,
              Scheduler& scheduler, Desktop& desktop, Surfaces& surfaces);

private:
    void modelChanged();
    void tick();
    void takeFrame();
    [[nodiscard]] QRegion shape() const;

    HintOverlayModel& m_model;
    Scheduler& m_scheduler;
    Desktop& m_desktop;
    bool m_translucent;
    QRect m_area; ///< all of the surface
    std::unique_ptr<Surface> m_surface;
    HintMotion m_motion;
    HintRecord m_record;
    double m_lastFrame = 0; ///< uptime
    ScheduledWork m_clock;
};

} // namespace murlo
