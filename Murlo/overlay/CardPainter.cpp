#include "overlay/CardPainter.h"

#include "look/Blur.h"
#include "look/Look.h"
#include "look/Shapes.h"
#include "overlay/CardDamage.h"
#include "overlay/CardMetrics.h"
#include "overlay/StatusRow.h"

#include <QFontMetricsF>

#include <algorithm>
#include <cmath>

namespace murlo {

namespace {

constexpr double shadowBlur = 12;
constexpr double shadowDrop = 3;

/// The card's empty surface with its shadow. Its two ends, which are costly to draw, are cached by
/// height; a change of width only stretches the middle.
struct Backdrop {
    QSize card; ///< in pixels
    double ratio = 0;
    CardSurface surface = CardSurface::translucent;
    QSize narrow; ///< the narrowest card of this height, in pixels
    QImage ends;  ///< its picture; the column in the middle is to be stretched
    QImage image;
};

constexpr double margin = 1.5 * shadowBlur + shadowDrop;
/// How far a corner and its shadow reach into the card.
constexpr double endWidth = 1.3 * CardMetrics::radius + 1.5 * shadowBlur;

QImage mask(const QSize& size, double ratio, const QPainterPath& outline, double strength) {
    QImage image(size, QImage::Format_Alpha8);
    image.setDevicePixelRatio(ratio);
    image.fill(0);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(outline, QColor::fromRgbF(0, 0, 0, static_cast<float>(strength)));
    return image;
}

QImage makeBackdrop(const QSizeF& size, double radius, double ratio, CardSurface surface) {
    const QSize pixels((size * ratio + QSizeF(2, 2) * margin * ratio).toSize());
    const QRectF card(QPointF(margin, margin), size);
    const QPainterPath outline = continuousRect(card, radius);
    const bool translucent = surface == CardSurface::translucent;
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    if (translucent) {
        image = tinted(
            blurred(mask(pixels, ratio, outline.translated(0, shadowDrop), 1), shadowBlur * ratio),
            Look::shadow);
    } else {
        image.fill(Qt::transparent);
    }
    image.setDevicePixelRatio(ratio);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    if (translucent) { // no shadow under the glass itself
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        painter.fillPath(outline, Qt::black);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    painter.fillPath(outline, translucent ? Look::panel : Look::panelOpaque);
    painter.setPen(QPen(Look::panelBorder, Look::hairline));
    constexpr double half = Look::hairline / 2;
    painter.drawPath(continuousRect(card.adjusted(half, half, -half, -half), radius - half));
    return image;
}

/// A picture of `width` pixels, the middle column of `ends` repeated.
QImage stretched(const QImage& ends, int width) {
    if (ends.width() == width) return ends;
    const int end = ends.width() / 2;
    QImage image(width, ends.height(), ends.format());
    for (int y = 0; y < ends.height(); ++y) {
        const auto* from = reinterpret_cast<const QRgb*>(ends.constScanLine(y));
        auto* to = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::copy_n(from, end, to);
        std::fill(to + end, to + width - end, from[end]);
        std::copy_n(from + ends.width() - end, end, to + width - end);
    }
    image.setDevicePixelRatio(ends.devicePixelRatio());
    return image;
}

/// The backdrop of a card of so many pixels.
const QImage& backdropFor(const QSize& card, double radius, double ratio, CardSurface surface) {
    static Backdrop cache;
    if (cache.card == card && cache.ratio == ratio && cache.surface == surface) return cache.image;
    const int narrowest = 2 * static_cast<int>(std::ceil(endWidth * ratio)) + 1;
    const QSize narrow(std::min(card.width(), narrowest), card.height());
    if (cache.narrow != narrow || cache.ratio != ratio || cache.surface != surface)
        cache.ends = makeBackdrop(QSizeF(narrow) / ratio, radius, ratio, surface);
    const int more = card.width() - narrow.width();
    cache = {card,   ratio,      surface,
             narrow, cache.ends, stretched(cache.ends, cache.ends.width() + more)};
    return cache.image;
}

void paintBackdrop(QPainter& painter, const CardRecord& card, CardSurface surface) {
    const double ratio = painter.device()->devicePixelRatioF();
    // Align edges to whole pixels, also while they move.
    const QPoint from((card.card.topLeft() * ratio).toPoint());
    const QPoint to((card.card.bottomRight() * ratio).toPoint());
    const QSize size(to.x() - from.x(), to.y() - from.y());
    const QImage& image = backdropFor(size, card.radius, ratio, surface);
    const QPoint border((image.width() - size.width()) / 2, (image.height() - size.height()) / 2);
    painter.drawImage(QPointF(from - border) / ratio, image);
}

QColor faded(QColor color, double opacity) {
    color.setAlphaF(color.alphaF() * static_cast<float>(opacity));
    return color;
}

/// How much of the pixel around (x, y) a rectangle with round corners covers: about its distance to
/// the edge, which for so small shapes nobody tells from the area.
float coverage(const QRectF& rect, float radius, int x, int y) {
    const QPointF middle = rect.center();
    const auto past = [radius](double from, double half) {
        return static_cast<float>(std::abs(from) - half) + radius;
    };
    const float across = past(x + 0.5 - middle.x(), rect.width() / 2);
    const float along = past(y + 0.5 - middle.y(), rect.height() / 2);
    const float round = std::max(across, 0.0F) * std::max(across, 0.0F) +
                        std::max(along, 0.0F) * std::max(along, 0.0F);
    const float outside = std::sqrt(round) + std::min(std::max(across, along), 0.0F) - radius;
    return std::clamp(0.5F - outside, 0.0F, 1.0F);
}

/// A premultiplied colour with the part of `color` laid over it.
QRgb over(QRgb below, QRgb color, float part) {
    constexpr int whole = 256; // fixed point: a byte after it
    const int share = static_cast<int>(part * whole);
    const int keep = whole - share * qAlpha(color) / 255;
    const auto mix = [&](int under, int top) {
        return (under * keep + top * share + whole / 2) / whole;
    };
    return qRgba(mix(qRed(below), qRed(color)), mix(qGreen(below), qGreen(color)),
                 mix(qBlue(below), qBlue(color)), mix(qAlpha(below), qAlpha(color)));
}

/// Many small shapes in one picture: a path for each would cost a hundred times as much.
void paintFills(QPainter& painter, const QList<CardFill>& fills) {
    const QTransform toDevice = painter.combinedTransform();
    QRectF whole;
    for (const CardFill& fill : fills) whole |= toDevice.mapRect(fill.rect);
    if (whole.isEmpty()) return;
    const QRect frame = whole.toAlignedRect();
    QImage image(frame.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    for (const CardFill& fill : fills) {
        const QRectF rect = toDevice.mapRect(fill.rect).translated(-frame.topLeft());
        const auto radius = static_cast<float>(fill.radius * toDevice.m11());
        const QRgb color = qPremultiply(fill.color.rgba());
        const QRect pixels = rect.toAlignedRect();
        for (int y = pixels.top(); y <= pixels.bottom(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = pixels.left(); x <= pixels.right(); ++x)
                line[x] = over(line[x], color, coverage(rect, radius, x, y));
        }
    }
    const double ratio = painter.device()->devicePixelRatioF();
    image.setDevicePixelRatio(ratio);
    painter.save();
    painter.resetTransform();
    painter.drawImage(QPointF(frame.topLeft()) / ratio, image);
    painter.restore();
}

/// Paints what of the row can be seen through the clip.
void paintRow(QPainter& painter, const PlacedRow& placed) {
    painter.save();
    painter.translate(placed.origin);
    painter.setOpacity(painter.opacity() * placed.opacity);
    const QRectF seen = painter.clipBoundingRect();
    QList<CardFill> fills;
    for (const CardFill& fill : placed.row.fills) {
        if (seen.intersects(fill.rect)) fills.append(fill);
    }
    paintFills(painter, fills);
    for (const CardSymbol& symbol : placed.row.symbols) {
        if (!seen.intersects(symbol.square)) continue;
        drawSymbol(painter, symbol.symbol, symbol.square, faded(symbol.color, symbol.opacity),
                   symbol.phase);
    }
    for (const CardText& text : placed.row.texts) {
        if (!seen.intersects(inkOf(text))) continue;
        painter.setFont(cardFont(text.font));
        painter.setPen(faded(text.color, text.opacity));
        painter.drawText(text.baseline, text.text);
    }
    painter.restore();
}

/// A word out of focus.
void paintBlurred(QPainter& painter, const CardText& word) {
    const double ratio = painter.device()->devicePixelRatioF();
    const QFontMetricsF metrics(cardFont(word.font));
    const double around = std::ceil(word.blur * 1.5) + 2;
    const QSizeF size(metrics.horizontalAdvance(word.text) + 2 * around,
                      metrics.height() + 2 * around);
    QImage letters((size * ratio).toSize(), QImage::Format_Alpha8);
    letters.setDevicePixelRatio(ratio);
    letters.fill(0);
    const QPointF baseline(around, std::ceil(around + metrics.ascent()));
    {
        QPainter onto(&letters);
        onto.setFont(cardFont(word.font));
        onto.setPen(Qt::black);
        onto.drawText(baseline, word.text);
    }
    painter.drawImage(-baseline,
                      tinted(blurred(letters, word.blur * ratio), faded(word.color, word.opacity)));
}

void paintWord(QPainter& painter, const CardText& word, const CardRecord& card) {
    painter.save();
    painter.translate(word.baseline);
    if (word.scale != 1) painter.scale(word.scale, word.scale);
    constexpr double sharp = 0.4;
    if (word.blur > sharp) {
        paintBlurred(painter, word);
    } else {
        const QColor color = faded(word.color, word.opacity);
        const double top = card.transcript.top();
        painter.setFont(cardFont(word.font));
        if (word.baseline.y() - CardMetrics::wordBaseline < top + card.fade) {
            QLinearGradient fade(0, top - word.baseline.y(), 0,
                                 top + card.fade - word.baseline.y());
            fade.setColorAt(0, faded(color, 0));
            fade.setColorAt(1, color);
            painter.setPen(QPen(QBrush(fade), 1));
        } else {
            painter.setPen(color);
        }
        painter.drawText(QPointF(), word.text);
    }
    painter.restore();
}

} // namespace

QPainterPath cardOutline(const CardRecord& card) {
    return continuousRect(card.card.translated(0, card.lift), card.radius);
}

void paintCard(QPainter& painter, const CardRecord& card, CardSurface surface) {
    if (card.opacity <= 0) return;
    painter.save();
    painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing |
                           QPainter::SmoothPixmapTransform);
    // On an opaque surface the card does not fade, which would look black.
    if (surface == CardSurface::translucent) {
        painter.setOpacity(card.opacity);
        const QPointF foot(card.card.center().x(), card.card.bottom());
        painter.translate(foot + QPointF(0, card.lift));
        painter.scale(card.scale, card.scale);
        painter.translate(-foot);
    } else {
        painter.translate(0, card.lift);
    }
    paintBackdrop(painter, card, surface);
    painter.setClipRect(card.card, Qt::IntersectClip);
    for (const PlacedRow& row : card.rows) paintRow(painter, row);
    if (!card.words.isEmpty()) {
        constexpr double bleed = 8; // descenders, and words out of focus
        painter.setClipRect(card.transcript.adjusted(-bleed, 0, bleed, bleed), Qt::IntersectClip);
        const QRectF seen = painter.clipBoundingRect();
        for (const CardText& word : card.words) {
            if (seen.intersects(inkOf(word))) paintWord(painter, word, card);
        }
    }
    painter.restore();
}

} // namespace murlo
