#include "hints/HintPanel.h"

#include "hints/HintPainter.h"

#include <algorithm>

namespace murlo {

namespace {

constexpr double frameInterval = 1.0 / 60;

} // namespace

HintPanel::HintPanel(HintOverlayModel& model, const ScreenInfo& screen,
                     const QList<HintBadge>& badges, Scheduler& scheduler, Desktop& desktop,
                     Surfaces& surfaces)
    : m_model(model)
    , m_scheduler(scheduler)
    , m_desktop(desktop)
    , m_translucent(surfaces.areTranslucent())
    , m_area({}, screen.frame.size())
    , m_surface(surfaces.make({
          .title = QStringLiteral("Murlo hints"),
          .accessibleName = {},
          .level = SurfaceLevel::hints,
          .place = WholeScreen{screen},
          .paint = [this](QPainter& painter) { paintHints(painter, m_record, m_translucent); },
      }))
    , m_motion(badges) {
    connect(&model, &HintOverlayModel::changed, this, &HintPanel::modelChanged);
    if (!m_translucent) m_surface->setShape(shape());
    m_surface->show();
}

QRegion HintPanel::shape() const {
    // Restrict the window to outlines and labels, so that the rest of the screen stays visible.
    HintMotion settled = m_motion;
    QRegion region;
    for (const HintMark& mark : settled.present().marks) {
        const QRect outer = mark.outline.adjusted(-2, -2, 2, 2).toAlignedRect();
        region += QRegion(outer) - QRegion(mark.outline.adjusted(2, 2, -2, -2).toAlignedRect());
        region += mark.label.toAlignedRect();
    }
    return region;
}

void HintPanel::modelChanged() {
    if (m_clock.isPending()) return;
    m_lastFrame = m_scheduler.uptime();
    m_motion.update(m_model, m_desktop.reducesMotion());
    m_motion.advance(frameInterval); // a key shows its effect at once
    takeFrame();
    m_clock = m_scheduler.every(frameInterval, [this] { tick(); });
}

void HintPanel::tick() {
    const double now = m_scheduler.uptime();
    m_motion.update(m_model, m_desktop.reducesMotion());
    m_motion.advance(std::clamp(now - std::exchange(m_lastFrame, now), 0.0, 0.1));
    takeFrame();
    if (!m_motion.isMoving()) m_clock.cancel();
}

void HintPanel::takeFrame() {
    m_record = m_motion.present();
    m_surface->update(m_area);
}

} // namespace murlo
