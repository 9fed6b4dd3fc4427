#include "hints/HintPanel.h"

#include "look/Look.h"
#include "look/Shapes.h"

#include <QFontMetricsF>
#include <QPaintEvent>
#include <QWindow>

namespace murlo {

namespace {

constexpr double frameInterval = 1.0 / 60;
constexpr double outlineRadius = 6;
constexpr double labelRadius = 5;
constexpr QColor typedText{110, 80, 0};
constexpr QColor restText{24, 18, 0};
constexpr QColor fadedText{255, 255, 255, 220};
constexpr QColor thin{60, 60, 66, 150}; ///< the surface of a label that no longer matches

QColor withOpacity(QColor color, double opacity) {
    color.setAlphaF(color.alphaF() * static_cast<float>(std::clamp(opacity, 0.0, 1.0)));
    return color;
}

void paintOutline(QPainter& painter, const HintMark& mark) {
    const QPainterPath outline = continuousRect(mark.outline, outlineRadius);
    if (mark.fill > 0) painter.fillPath(outline, withOpacity(Look::accent, mark.fill));
    painter.strokePath(outline, QPen(withOpacity(Look::accent, mark.opacity), mark.stroke));
}

void paintLabel(QPainter& painter, const HintMark& mark) {
    painter.save();
    const double opacity = painter.opacity();
    painter.setOpacity(opacity * mark.labelOpacity);
    painter.translate(mark.label.center());
    painter.scale(mark.labelScale, mark.labelScale);
    const QRectF box(-mark.label.width() / 2, -mark.label.height() / 2, mark.label.width(),
                     mark.label.height());
    const QPainterPath shape = continuousRect(box, labelRadius);
    painter.fillPath(shape.translated(0, 1), QColor(0, 0, 0, 70));
    painter.fillPath(shape, withOpacity(thin, 1 - mark.matching));
    painter.fillPath(shape, withOpacity(Look::amber, mark.matching));
    const double border = 0.14 + (0.55 - 0.14) * mark.matching;
    painter.strokePath(continuousRect(box.adjusted(0.5, 0.5, -0.5, -0.5), labelRadius - 0.5),
                       QPen(withOpacity(Qt::white, border), 1));
    painter.setFont(hintFont());
    const QFontMetricsF metrics(hintFont());
    const double wide = metrics.horizontalAdvance(mark.typed + mark.rest);
    const QPointF baseline(-wide / 2, std::round(metrics.capHeight() / 2));
    const bool solid = mark.matching > 0.5;
    painter.setPen(solid ? typedText : fadedText);
    painter.drawText(baseline, mark.typed);
    painter.setPen(solid ? restText : fadedText);
    painter.drawText(baseline + QPointF(metrics.horizontalAdvance(mark.typed), 0), mark.rest);
    painter.restore();
}

} // namespace

void paintHints(QPainter& painter, const HintRecord& hints, bool translucent) {
    if (hints.presented <= 0) return;
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    if (translucent) {
        painter.fillRect(painter.window(), withOpacity(Qt::black, hints.wash));
        painter.setOpacity(hints.presented);
    }
    for (const HintMark& mark : hints.marks) paintOutline(painter, mark);
    for (const HintMark& mark : hints.marks) paintLabel(painter, mark);
    painter.setOpacity(1);
}

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
