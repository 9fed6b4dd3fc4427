#pragma once

#include <QPainterPath>
#include <QRectF>

namespace murlo {

/// A rectangle whose corners bend gradually ("continuous" corners): each follows a superellipse
/// instead of a quarter circle, so that the eye finds no point where the straight edge ends.
/// `radius` is the radius of the circular corner it stands for; it is limited to half the shorter
/// side, where a pill remains.
[[nodiscard]] QPainterPath continuousRect(const QRectF& rect, double radius);

} // namespace murlo
