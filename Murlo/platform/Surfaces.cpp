#include "platform/Surfaces.h"

#include <algorithm>

namespace murlo {

namespace {

QRect above(const AboveBottom& place, const QList<ScreenInfo>& screens,
            const std::optional<QPoint>& pointer) {
    if (screens.isEmpty()) return {};
    const auto under = std::ranges::find_if(screens, [&](const ScreenInfo& screen) {
        return pointer && screen.frame.contains(*pointer);
    });
    const QRect& visible = under == screens.end() ? screens.first().visible : under->visible;
    const int bottom = visible.y() + visible.height();
    return {QPoint(visible.x() + visible.width() / 2 - place.size.width() / 2,
                   bottom - place.distance - place.size.height()),
            place.size};
}

} // namespace

double scaleAt(const QList<ScreenInfo>& screens, const QRectF& frame) {
    const auto areaOn = [&](const ScreenInfo& screen) {
        const QRectF common = screen.device & frame;
        return common.width() * common.height();
    };
    const auto most = std::ranges::max_element(screens, {}, areaOn);
    return most == screens.end() ? 1 : most->scale();
}

QRect frameOf(const SurfacePlace& place, const QList<ScreenInfo>& screens,
              const std::optional<QPoint>& pointer) {
    if (const auto* whole = std::get_if<WholeScreen>(&place)) return whole->screen.frame;
    if (const auto* at = std::get_if<AtFrame>(&place)) return at->frame;
    return above(std::get<AboveBottom>(place), screens, pointer);
}

} // namespace murlo
