#include "hints/HintPainter.h"

#include "look/Look.h"
#include "look/Shapes.h"

#include <QFontMetricsF>
#include <QPixmap>
#include <qdrawutil.h>

#include <map>
#include <tuple>

namespace murlo {

namespace {

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

void paintOutline(QPainter& painter, const QRectF& box, const HintMark& mark) {
    const QPainterPath outline = continuousRect(box, outlineRadius);
    if (mark.fill > 0) painter.fillPath(outline, withOpacity(Look::accent, mark.fill));
    painter.strokePath(outline, QPen(withOpacity(Look::accent, mark.opacity), mark.stroke));
}

/// A label without its letters, centred on the origin.
void paintSurface(QPainter& painter, const QSizeF& size, double matching) {
    const QRectF box(QPointF(-size.width() / 2, -size.height() / 2), size);
    const QPainterPath shape = continuousRect(box, labelRadius);
    painter.fillPath(shape.translated(0, 1), QColor(0, 0, 0, 70));
    painter.fillPath(shape, withOpacity(thin, 1 - matching));
    painter.fillPath(shape, withOpacity(Look::amber, matching));
    const double border = 0.14 + (0.55 - 0.14) * matching;
    painter.strokePath(continuousRect(box.adjusted(0.5, 0.5, -0.5, -0.5), labelRadius - 0.5),
                       QPen(withOpacity(Qt::white, border), 1));
}

/// What hundreds of marks have in common, drawn once a frame: labels come in two or three sizes,
/// outlines in two or three looks.
class Stencils {
public:
    explicit Stencils(double scale)
        : m_scale(scale) {}

    /// The surface of a label that matches, centred on the origin.
    void paintLabel(QPainter& painter, const QSizeF& size) {
        constexpr int shadow = 2; // room around
        const QSize whole = QSizeF(size.width() + 2 * shadow, size.height() + 2 * shadow).toSize();
        QPixmap& label = m_labels[{whole.width(), whole.height()}];
        if (label.isNull()) {
            label = blank(whole);
            QPainter once(&label);
            once.setRenderHint(QPainter::Antialiasing);
            once.translate(size.width() / 2 + shadow, size.height() / 2 + shadow);
            paintSurface(once, size, 1);
        }
        painter.drawPixmap(QPointF(-size.width() / 2 - shadow, -size.height() / 2 - shadow), label);
    }

    /// Corners from the stencil, edges and inside stretched between them: stroking a curve around a
    /// large box costs many times as much.
    void paintOutline(QPainter& painter, const HintMark& mark) {
        constexpr int corner = 12; // points, beyond the bend and the stroke
        constexpr int outside = 2; // the outer half of the stroke
        const QRectF whole = mark.outline.adjusted(-outside, -outside, outside, outside);
        if (whole.width() < 2 * corner + 1 || whole.height() < 2 * corner + 1) {
            murlo::paintOutline(painter, mark.outline, mark);
            return;
        }
        QPixmap& outline = m_outlines[{mark.stroke, mark.fill, mark.opacity}];
        if (outline.isNull()) {
            constexpr int side = 2 * corner + 4;
            outline = blank({side, side});
            QPainter once(&outline);
            once.setRenderHint(QPainter::Antialiasing);
            murlo::paintOutline(
                once, QRectF(0, 0, side, side).adjusted(outside, outside, -outside, -outside),
                mark);
            once.end();
            outline.setDevicePixelRatio(1);
        }
        const int margin = static_cast<int>(std::lround(corner * m_scale));
        painter.save();
        painter.scale(1 / m_scale, 1 / m_scale);
        const QRect target = QRectF(whole.topLeft() * m_scale, whole.size() * m_scale).toRect();
        qDrawBorderPixmap(&painter, target, QMargins(margin, margin, margin, margin), outline);
        painter.restore();
    }

private:
    [[nodiscard]] QPixmap blank(const QSize& size) const {
        QPixmap pixmap((QSizeF(size) * m_scale).toSize());
        pixmap.setDevicePixelRatio(m_scale);
        pixmap.fill(Qt::transparent);
        return pixmap;
    }

    double m_scale;
    std::map<std::pair<int, int>, QPixmap> m_labels;
    std::map<std::tuple<double, double, double>, QPixmap> m_outlines;
};

void paintLabel(QPainter& painter, Stencils& stencils, const HintMark& mark) {
    painter.save();
    const double opacity = painter.opacity();
    painter.setOpacity(opacity * mark.labelOpacity);
    painter.translate(mark.label.center());
    painter.scale(mark.labelScale, mark.labelScale);
    if (mark.matching == 1)
        stencils.paintLabel(painter, mark.label.size());
    else
        paintSurface(painter, mark.label.size(), mark.matching);
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
    Stencils stencils(painter.device()->devicePixelRatioF());
    for (const HintMark& mark : hints.marks) stencils.paintOutline(painter, mark);
    for (const HintMark& mark : hints.marks) paintLabel(painter, stencils, mark);
    painter.setOpacity(1);
}

} // namespace murlo
