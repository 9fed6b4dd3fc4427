#include "WindowMatch.h"

#include <algorithm>
#include <cmath>

namespace murlo {

void markUnseen(const std::vector<AccessibleApplication::Window*>& windows,
                const QList<WindowInfo>& onScreen) {
    using Window = AccessibleApplication::Window;
    const auto isAt = [](const Window& window, const WindowInfo& shown) {
        return window.root.frame && overlap(*window.root.frame, shown.bounds) > 0.5;
    };
    for (Window* window : windows) {
        if (window->isPopup) continue; // the window manager does not manage it
        const bool anything = std::ranges::any_of(
            onScreen, [&](const WindowInfo& shown) { return isAt(*window, shown); });
        if (!anything) window->minimized = true;
    }
    for (const WindowInfo& shown : onScreen) {
        const auto claims = [&](const Window* window) {
            return !window->isPopup && !window->minimized && isAt(*window, shown);
        };
        const bool told = std::ranges::any_of(windows, [&](const Window* window) {
            return claims(window) && window->title == shown.title;
        });
        if (!told || std::ranges::count_if(windows, claims) < 2) continue;
        for (Window* window : windows) {
            const bool elsewhere = std::ranges::any_of(onScreen, [&](const WindowInfo& other) {
                return window->title == other.title && isAt(*window, other);
            });
            if (claims(window) && !elsewhere) window->minimized = true;
        }
    }
}

QPointF windowOrigin(const QRectF& content, const QSizeF& size) {
    if (size.isEmpty()) return content.topLeft();
    const QSizeF border = (content.size() - size).expandedTo({0, 0}) / 2;
    return {std::floor(content.left() + border.width()),
            std::floor(content.top() + border.height())};
}

} // namespace murlo
