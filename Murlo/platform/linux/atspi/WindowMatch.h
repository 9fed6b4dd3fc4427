#pragma once

#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"

namespace murlo {

/// Marks the windows that are not visible as minimized: iconified ones and those on another desktop
/// may still report the state "showing". `onScreen` are the same process's windows that are shown.
/// A window is identified by its position, and among several at one position by its title.
void markUnseen(const std::vector<AccessibleApplication::Window*>& windows,
                const QList<WindowInfo>& onScreen);

/// Top left corner of a window whose toolkit knows only its size: if the window system's `content`
/// is larger, the difference is a border around it.
[[nodiscard]] QPointF windowOrigin(const QRectF& content, const QSizeF& size);

} // namespace murlo
