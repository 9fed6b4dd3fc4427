#include "overlay/Placement.h"

#include "overlay/CardMetrics.h"

#include <algorithm>

namespace murlo {

QRect cardPlacement(const QList<ScreenFrame>& screens, const QPoint& pointer) {
    if (screens.isEmpty()) return {};
    const auto under = std::ranges::find_if(
        screens, [&](const ScreenFrame& screen) { return screen.frame.contains(pointer); });
    const QRect& visible = under == screens.end() ? screens.first().visible : under->visible;
    const QSize size(static_cast<int>(CardMetrics::panelWidth),
                     static_cast<int>(CardMetrics::panelHeight));
    const int bottom = visible.y() + visible.height();
    return {QPoint(visible.x() + visible.width() / 2 - size.width() / 2,
                   bottom - static_cast<int>(CardMetrics::aboveScreenBottom) - size.height()),
            size};
}

} // namespace murlo
