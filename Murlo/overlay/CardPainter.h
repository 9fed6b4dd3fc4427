#pragma once

#include "overlay/CardRecord.h"

#include <QPainter>
#include <QPainterPath>

namespace murlo {

/// What the card is painted onto.
enum class CardSurface {
    translucent, ///< with a shadow, the desktop shining through
    opaque,      ///< the window is cut to the card's outline
};

/// Paints the card onto a device whose (0, 0) is the panel's top left, at the device's own scale.
/// Main thread.
void paintCard(QPainter& painter, const CardRecord& card, CardSurface surface);

/// The card's outline: what is left of the panel where windows cannot be translucent.
[[nodiscard]] QPainterPath cardOutline(const CardRecord& card);

} // namespace murlo
