#include "look/Symbols.h"

#include "look/Shapes.h"

#include <QPainterPath>

#include <cmath>
#include <numbers>

namespace murlo {

namespace {

constexpr double grid = 24; ///< symbols are drawn on a grid of 24 × 24

QPen stroke(const QColor& color, double width) {
    return {color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin};
}

QPainterPath rounded(double x, double y, double width, double height) {
    QPainterPath path;
    const double radius = std::min(width, height) / 2;
    path.addRoundedRect(QRectF(x, y, width, height), radius, radius);
    return path;
}

void microphone(QPainter& painter, const QColor& color) {
    painter.fillPath(rounded(8.6, 2.2, 6.8, 12.2), color);
    painter.setPen(stroke(color, 1.9));
    QPainterPath stand(QPointF(5.4, 11.2));
    stand.cubicTo(5.4, 15.2, 8.2, 17.6, 12, 17.6);
    stand.cubicTo(15.8, 17.6, 18.6, 15.2, 18.6, 11.2);
    stand.moveTo(12, 17.6);
    stand.lineTo(12, 21);
    stand.moveTo(8.4, 21.2);
    stand.lineTo(15.6, 21.2);
    painter.drawPath(stand);
}

/// A four-pointed star around a point.
QPainterPath star(const QPointF& centre, double radius) {
    QPainterPath path;
    const double waist = radius * 0.16;
    path.moveTo(centre.x(), centre.y() - radius);
    path.quadTo(centre.x() + waist, centre.y() - waist, centre.x() + radius, centre.y());
    path.quadTo(centre.x() + waist, centre.y() + waist, centre.x(), centre.y() + radius);
    path.quadTo(centre.x() - waist, centre.y() + waist, centre.x() - radius, centre.y());
    path.quadTo(centre.x() - waist, centre.y() - waist, centre.x(), centre.y() - radius);
    return path;
}

void wand(QPainter& painter, const QColor& color, double phase) {
    painter.setPen(stroke(color, 2.7));
    painter.drawLine(QPointF(3.6, 20.4), QPointF(14.6, 9.4));
    const auto twinkle = [&](double offset) {
        return 0.72 + 0.28 * std::sin(2 * std::numbers::pi * (phase + offset));
    };
    painter.setPen(Qt::NoPen);
    painter.fillPath(star({18.4, 5.6}, 4.8 * twinkle(0)), color);
    painter.fillPath(star({8.6, 5.4}, 3.5 * twinkle(0.36)), color);
    painter.fillPath(star({19.2, 15.8}, 3.3 * twinkle(0.7)), color);
}

void check(QPainter& painter, const QColor& color) {
    QPainterPath disc;
    disc.addEllipse(QPointF(12, 12), 10.2, 10.2);
    QPainterPath tick(QPointF(7.5, 12.5));
    tick.lineTo(10.7, 15.7);
    tick.lineTo(16.6, 8.7);
    QPainterPathStroker pen(stroke(color, 2.3));
    painter.fillPath(disc.subtracted(pen.createStroke(tick)), color);
}

void warning(QPainter& painter, const QColor& color) {
    QPainterPath triangle(QPointF(12, 4.2));
    triangle.lineTo(21.2, 19.8);
    triangle.lineTo(2.8, 19.8);
    triangle.closeSubpath();
    QPainterPathStroker round(stroke(color, 3));
    QPainterPath solid = triangle.united(round.createStroke(triangle));
    QPainterPath mark = rounded(10.85, 8.6, 2.3, 6.2);
    mark.addEllipse(QPointF(12, 17.6), 1.4, 1.4);
    painter.fillPath(solid.subtracted(mark), color);
}

void arrowUp(QPainter& painter, const QColor& color) {
    QPainterPath triangle(QPointF(12, 6.4));
    triangle.lineTo(20, 17.6);
    triangle.lineTo(4, 17.6);
    triangle.closeSubpath();
    QPainterPathStroker round(stroke(color, 2.4));
    painter.fillPath(triangle.united(round.createStroke(triangle)), color);
}

void progress(QPainter& painter, const QColor& color, double phase) {
    constexpr int spokes = 8;
    for (int i = 0; i < spokes; ++i) {
        // The brightest spoke leads, the others fade behind it.
        double behind = phase - static_cast<double>(i) / spokes;
        behind -= std::floor(behind);
        QColor faded = color;
        faded.setAlphaF(color.alphaF() * static_cast<float>(1 - 0.82 * behind));
        const double angle = 2 * std::numbers::pi * i / spokes;
        const QPointF direction(std::sin(angle), -std::cos(angle));
        painter.setPen(stroke(faded, 2.5));
        painter.drawLine(QPointF(12, 12) + direction * 5.2, QPointF(12, 12) + direction * 9.4);
    }
}

} // namespace

void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& square, const QColor& color,
                double phase) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(square.topLeft());
    painter.scale(square.width() / grid, square.height() / grid);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::NoBrush);
    switch (symbol) {
    case Symbol::microphone:
        microphone(painter, color);
        break;
    case Symbol::wand:
        wand(painter, color, phase);
        break;
    case Symbol::check:
        check(painter, color);
        break;
    case Symbol::warning:
        warning(painter, color);
        break;
    case Symbol::arrowUp:
        arrowUp(painter, color);
        break;
    case Symbol::progress:
        progress(painter, color, phase);
        break;
    }
    painter.restore();
}

} // namespace murlo
