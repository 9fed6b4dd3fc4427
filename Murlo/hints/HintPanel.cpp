#include "hints/HintPanel.h"

#include "hints/HintPainter.h"

#include <QPaintEvent>
#include <QPainter>
#include <QWindow>

namespace murlo {

namespace {

constexpr double frameInterval = 1.0 / 60;

} // namespace

HintPanel::HintPanel(HintOverlayModel& model, const HintScreen& screen,
                     const QList<HintBadge>& badges, Scheduler& scheduler, Desktop& desktop)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                           Qt::WindowStaysOnTopHint | Qt::WindowTransparentForInput |
                           Qt::WindowDoesNotAcceptFocus | Qt::NoDropShadowWindowHint)
    , m_model(model)
    , m_scheduler(scheduler)
    , m_desktop(desktop)
    , m_translucent(desktop.isComposited())
    , m_motion(badges) {
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setWindowTitle(QStringLiteral("Murlo hints"));
    setGeometry(screen.frame);
    connect(&model, &HintOverlayModel::changed, this, &HintPanel::modelChanged);
    shape();
    show();
    raise();
    m_desktop.keepAbove(windowHandle()->winId(), PanelLevel::hints);
}

HintPanel::~HintPanel() {
    m_desktop.letGo(windowHandle()->winId());
}

void HintPanel::shape() {
    if (m_translucent) return;
    // Only what is drawn is there at all; the screen behind stays as it is.
    HintMotion settled = m_motion;
    QRegion region;
    for (const HintMark& mark : settled.present().marks) {
        const QRect outer = mark.outline.adjusted(-2, -2, 2, 2).toAlignedRect();
        region += QRegion(outer) - QRegion(mark.outline.adjusted(2, 2, -2, -2).toAlignedRect());
        region += mark.label.toAlignedRect();
    }
    setMask(region);
}

void HintPanel::modelChanged() {
    if (m_clock.isPending()) return;
    m_lastFrame = m_scheduler.uptime();
    m_motion.update(m_model, m_desktop.reducesMotion());
    m_motion.advance(frameInterval); // who typed does not wait for the first frame
    m_record = m_motion.present();
    update();
    m_clock = m_scheduler.every(frameInterval, [this] { tick(); });
}

void HintPanel::tick() {
    const double now = m_scheduler.uptime();
    m_motion.update(m_model, m_desktop.reducesMotion());
    m_motion.advance(std::clamp(now - std::exchange(m_lastFrame, now), 0.0, 0.1));
    m_record = m_motion.present();
    update();
    if (!m_motion.isMoving()) m_clock.cancel();
}

void HintPanel::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(event->rect(), Qt::transparent);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    paintHints(painter, m_record, m_translucent);
}

} // namespace murlo
