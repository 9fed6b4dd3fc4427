#pragma once

#include <QColor>
#include <QIcon>

namespace murlo {

/// Murlo's mark at a side length in device pixels (16 or more): the bars of a voice before a text
/// cursor, in one colour on a transparent ground. Its edges lie on whole pixels at any size. `rim`
/// (invalid for none) surrounds it, so that it stays readable whatever lies below.
[[nodiscard]] QPixmap brandMark(int side, const QColor& color, const QColor& rim = {});

/// The mark as an icon, for tray items and windows, in the sizes that panels ask for. An invalid
/// tint stands for the panel's normal colour: white with a dark rim, since a tray does not tell how
/// dark its panel is.
[[nodiscard]] QIcon brandIcon(const QColor& tint);

} // namespace murlo
