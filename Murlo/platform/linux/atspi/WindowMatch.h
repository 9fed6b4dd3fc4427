#pragma once

#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"

namespace murlo {

/// Marks as minimized what the screen does not show: windows that are iconified or on another
/// desktop may still call themselves showing. `onScreen` are the same process's windows that are
/// shown. A window is told by its place, and among those at one place by its title.
void markUnseen(const std::vector<AccessibleApplication::Window*>& windows,
                const QList<WindowInfo>& onScreen);

/// Top left corner of a window whose toolkit knows no more of it than its size: what the window
/// system's `content` is larger than that is a border around it.
[[nodiscard]] QPointF windowOrigin(const QRectF& content, const QSizeF& size);

} // namespace murlo
