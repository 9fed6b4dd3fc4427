#pragma once

#include <QList>
#include <QRectF>

#include <algorithm>

namespace murlo {

/// Where the screens are: their frames in the coordinates of the accessibility tree (origin at the
/// top left of the primary screen, y growing downwards, device pixels), in the system's order.
struct ScreenGeometry {
    QList<QRectF> screens;

    /// Height of the screen whose origin is (0, 0), else of the first one; 0 without screens.
    [[nodiscard]] double primaryHeight() const {
        const auto primary = std::find_if(screens.begin(), screens.end(), [](const QRectF& screen) {
            return screen.topLeft() == QPointF(0, 0);
        });
        if (primary != screens.end()) return primary->height();
        return screens.isEmpty() ? 0 : screens.first().height();
    }

    /// The same rectangle with the origin at the bottom left of the primary screen and y growing
    /// upwards: `y()` of the result is its lower edge. Its own inverse.
    [[nodiscard]] QRectF flipped(const QRectF& frame) const {
        return {frame.x(), primaryHeight() - frame.y() - frame.height(), frame.width(),
                frame.height()};
    }
};

} // namespace murlo
