#include "look/BrandMark.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace murlo {

namespace {

constexpr double barHalves[] = {0.13, 0.29, 0.19}; ///< half the heights of the bars
constexpr double cursorHalf = 0.4;

/// A part of the side in whole pixels.
int pixels(int side, double part, int least) {
    return std::max(least, static_cast<int>(std::lround(side * part)));
}

QPainterPath outline(int side) {
    const int bar = pixels(side, 0.092, 2);
    const int gap = pixels(side, 0.085, 1);
    const int serif = pixels(side, 0.09, 1); ///< beside the cursor's stem, on each side
    const int foot = pixels(side, 0.07, 1);  ///< height of the serifs
    const int middle = side / 2;
    const double round = bar > 2 ? bar / 2.0 : 0.5;
    QPainterPath path;
    path.setFillRule(Qt::WindingFill);
    int x = (side - 4 * bar - 3 * gap - 2 * serif) / 2;
    for (const double part : barHalves) {
        const int half = pixels(side, part, 1);
        path.addRoundedRect(x, middle - half, bar, 2 * half, round, round);
        x += bar + gap;
    }
    const int half = pixels(side, cursorHalf, 1);
    path.addRect(x + serif, middle - half, bar, 2 * half);
    for (const int top : {middle - half, middle + half - foot})
        path.addRoundedRect(x, top, bar + 2 * serif, foot, foot / 2.0, foot / 2.0);
    return path;
}

} // namespace

QPixmap brandMark(int side, const QColor& color, const QColor& rim) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const QPainterPath path = outline(side);
    if (rim.isValid()) {
        const double width = 2.0 * pixels(side, 0.04, 1);
        painter.strokePath(path, QPen(rim, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setCompositionMode(QPainter::CompositionMode_DestinationOut);
        painter.fillPath(path, Qt::black); // the mark's own edge stays clean
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    painter.fillPath(path, color);
    return pixmap;
}

QIcon brandIcon(const QColor& tint) {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 44, 48, 64, 96}) {
        icon.addPixmap(tint.isValid() ? brandMark(side, tint)
                                      : brandMark(side, Qt::white, QColor(24, 24, 28, 200)));
    }
    return icon;
}

} // namespace murlo
