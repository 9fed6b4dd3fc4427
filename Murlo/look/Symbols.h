#pragma once

#include <QColor>
#include <QPainter>
#include <QRectF>

namespace murlo {

/// Small pictures of one colour, drawn for Murlo.
enum class Symbol {
    microphone, ///< "mic.fill"
    wand,       ///< "wand.and.stars"; its stars twinkle with the phase
    check,      ///< "checkmark.circle.fill"
    warning,    ///< "exclamationmark.triangle.fill"
    arrowUp,    ///< "arrowtriangle.up.fill"
    progress,   ///< a turning ring of spokes; one turn per phase
};

/// Draws a symbol into a square. `phase` (0…1, for those that move) is the part of their cycle.
void drawSymbol(QPainter& painter, Symbol symbol, const QRectF& square, const QColor& color,
                double phase = 0);

} // namespace murlo
