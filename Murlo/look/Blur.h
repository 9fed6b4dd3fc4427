#pragma once

#include <QColor>
#include <QImage>

namespace murlo {

/// A mask (`Format_Alpha8`) blurred with a radius in pixels: about two standard deviations of the
/// Gaussian that three box blurs in a row come close to. What is blurred over the mask's edge is
/// lost, so leave a margin of one and a half radii.
[[nodiscard]] QImage blurred(const QImage& mask, double radius);

/// An image of one colour, premultiplied, as strong as the mask.
[[nodiscard]] QImage tinted(const QImage& mask, const QColor& color);

} // namespace murlo
