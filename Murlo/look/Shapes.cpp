#include "look/Shapes.h"

#include <algorithm>

namespace murlo {

QPainterPath continuousRect(const QRectF& rect, double radius) {
    const double half = std::min(rect.width(), rect.height()) / 2;
    const double r = std::clamp(radius, 0.0, half);
    // The bend begins earlier than a circle's; near a pill there is no room for that, and the
    // corner becomes the circle again.
    const double reach = std::min(r * 1.28, half);
    // Handle lengths: 0.5523 r makes a circular corner when the bend begins at r.
    const double fullness = r > 0 ? (reach - r) / (0.28 * r) : 0;
    const double handle = reach * (0.5523 + 0.12 * fullness);
    const double pull = reach - handle;
    const double l = rect.left();
    const double t = rect.top();
    const double right = rect.right();
    const double b = rect.bottom();
    QPainterPath path(QPointF(l + reach, t));
    path.lineTo(right - reach, t);
    path.cubicTo(right - pull, t, right, t + pull, right, t + reach);
    path.lineTo(right, b - reach);
    path.cubicTo(right, b - pull, right - pull, b, right - reach, b);
    path.lineTo(l + reach, b);
    path.cubicTo(l + pull, b, l, b - pull, l, b - reach);
    path.lineTo(l, t + reach);
    path.cubicTo(l, t + pull, l + pull, t, l + reach, t);
    path.closeSubpath();
    return path;
}

} // namespace murlo
