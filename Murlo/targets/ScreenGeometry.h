#pragma once

#include <QList>
#include <QRectF>

#include <algorithm>

namespace murlo {

/// Where the screens are: their frames in the coordinates of the accessibility tree (origin at the
/// top left of the primary screen, y growing downwards, device pixels), in the system's order.
struct ScreenGeometry {
    QList<QRectF> screens;
    /// Device pixels per point, in the same order; 1 where none is given.
    QList<double> scales = {};

    /// Device pixels per point on the screen that holds most of a rectangle.
    [[nodiscard]] double scaleAt(const QRectF& frame) const {
        const auto areaOn = [&](const QRectF& screen) {
            const QRectF common = screen & frame;
            return common.width() * common.height();
        };
        const auto most = std::ranges::max_element(screens, {}, areaOn);
        const auto index = most - screens.begin();
        return index < scales.size() ? scales[index] : 1;
    }
};

} // namespace murlo
