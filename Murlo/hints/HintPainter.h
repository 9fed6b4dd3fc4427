#pragma once

#include "hints/HintMotion.h"

#include <QPainter>

namespace murlo {

/// Draws a layer into any paint device, in points. Without `translucent` there is no wash and
/// nothing fades: only outlines and labels as they are. Main thread, with a Qt GUI application.
void paintHints(QPainter& painter, const HintRecord& hints, bool translucent);

} // namespace murlo
