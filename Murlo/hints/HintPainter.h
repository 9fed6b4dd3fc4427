#pragma once

#include "hints/HintMotion.h"

#include <QPainter>

namespace murlo {

/// Draws a layer into any paint device, in points. Without `translucent` it draws only opaque
/// outlines and labels, no wash. Main thread, with a Qt GUI application.
void paintHints(QPainter& painter, const HintRecord& hints, bool translucent);

} // namespace murlo
