#pragma once

#include "overlay/CardMotion.h"
#include "overlay/CardPainter.h"
#include "overlay/OverlayPanel.h"
#include "platform/Desktop.h"
#include "platform/Scheduler.h"
#include "platform/Surfaces.h"

#include <QObject>

#include <memory>

namespace murlo {

/// The card's surface: above everything, without ever taking the focus or a click. It draws the
/// model it is given and animates it: at 60 frames per second while something moves, at 25 while
/// that is the waveform or a turning symbol alone, and not at all otherwise. Main thread.
class NonKeyPanel : public QObject, public OverlayPanel {
    Q_OBJECT

public:
    NonKeyPanel(OverlayModel& model, Scheduler& scheduler, Desktop& desktop, Surfaces& surfaces);

    void orderFront() override;
    void orderOut() override;

private:
    void warmFonts() const;
    void modelChanged();
    void presentedChanged();
    void awaitFrame();
    void tick();
    void takeFrame();
    void shape();
    [[nodiscard]] const CardMetrics::Motions& motions() const;
    [[nodiscard]] CardSurface background() const;

    OverlayModel& m_model;
    Scheduler& m_scheduler;
    Desktop& m_desktop;
    Surfaces& m_surfaces;
    std::unique_ptr<Surface> m_surface;
    CardMotion m_motion;
    CardRecord m_record;
    bool m_up = false;      ///< on the screen, or wanted there
    double m_lastFrame = 0; ///< uptime
    ScheduledWork m_clock;  ///< runs while something moves
};

} // namespace murlo
