#pragma once

#include "hints/HintMotion.h"
#include "platform/Desktop.h"

#include <QWidget>

namespace murlo {

/// The window over one screen: above everything, without taking the focus or a click. Main thread.
class HintPanel : public QWidget, public HintLayer {
    Q_OBJECT

public:
    HintPanel(HintOverlayModel& model, const HintScreen& screen, const QList<HintBadge>& badges,
              Scheduler& scheduler, Desktop& desktop);
    ~HintPanel() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void modelChanged();
    void tick();
    void shape();

    HintOverlayModel& m_model;
    Scheduler& m_scheduler;
    Desktop& m_desktop;
    bool m_translucent;
    HintMotion m_motion;
    HintRecord m_record;
    double m_lastFrame = 0;
    ScheduledWork m_clock;
};

} // namespace murlo
