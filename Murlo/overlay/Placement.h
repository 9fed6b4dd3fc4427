#pragma once

#include <QList>
#include <QPoint>
#include <QRect>

namespace murlo {

/// A screen as windows are placed on it, in points, y growing downwards.
struct ScreenFrame {
    QRect frame;
    QRect visible; ///< what panels and docks leave free
};

/// Where the card's panel goes: in the middle of the pointer's screen, 74 points above the bottom
/// of its visible part. Without a screen under the pointer the main one counts, which is the first
/// of the list. An empty rectangle when there is no screen.
[[nodiscard]] QRect cardPlacement(const QList<ScreenFrame>& screens, const QPoint& pointer);

} // namespace murlo
