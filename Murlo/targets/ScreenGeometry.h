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

    /// Height of the screen whose origin is (0, 0), else of the first one; 0 without screens.
    [[nodiscard]] double primaryHeight() const {
        const auto primary = std::find_if(screens.begin(), screens.end(), [](const QRectF& screen) {
            return screen.topLeft() == QPointF(0, 0);
        });
        if (primary != screens.end()) return primary->height();
        return screens.isEmpty() ? 0 : screens.first().height();
    }

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

    /// The same rectangle with the origin at the bottom left of the primary screen and y growing
    /// upwards: `y()` of the result is its lower edge. Its own inverse.
    [[nodiscard]] QRectF flipped(const QRectF& frame) const {
        return {frame.x(), primaryHeight() - frame.y() - frame.height(), frame.width(),
                frame.height()};
    }
};

} // namespace murlo
