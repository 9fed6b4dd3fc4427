#pragma once

#include "overlay/CardRecord.h"

#include <QRect>

namespace murlo {

/// Where a text may leave ink, in the coordinates of its baseline: its right end is not known
/// without measuring it, so all that is to its right counts.
[[nodiscard]] QRectF inkOf(const CardText& text);

/// What is to be painted anew, in points from the panel's top left, when the card turns from one
/// record into the other; empty when they look alike.
[[nodiscard]] QRect cardDamage(const CardRecord& before, const CardRecord& after);

} // namespace murlo
