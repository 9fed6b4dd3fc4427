#include "look/Blur.h"

#include <QPainter>

#include <cmath>
#include <vector>

namespace murlo {

namespace {

/// Averages every value of a row or column with `reach` neighbours on either side.
void boxBlur(uchar* first, qsizetype step, int count, int reach, std::vector<uchar>& line) {
    // The copy is padded with zeros, so that the loop needs no bounds checks.
    std::fill(line.begin(), line.end(), 0);
    uchar* copy = line.data() + reach;
    for (int i = 0; i < count; ++i) copy[i] = first[i * step];
    const int size = 2 * reach + 1;
    // Rounded division by a multiplication with the reciprocal in 16 bits after the point.
    const auto part = static_cast<unsigned>(std::lround(65536.0 / size));
    unsigned sum = 0;
    for (int i = 0; i < reach; ++i) sum += copy[i];
    for (int i = 0; i < count; ++i) {
        sum += copy[i + reach];
        first[i * step] = static_cast<uchar>(std::min((sum * part + 32768U) >> 16, 255U));
        sum -= copy[i - reach];
    }
}

} // namespace

QImage blurred(const QImage& mask, double radius) {
    QImage result = mask.convertToFormat(QImage::Format_Alpha8);
    const int reach = static_cast<int>(std::lround(radius / 2));
    if (reach < 1 || result.isNull()) return result;
    uchar* pixels = result.bits();
    std::vector<uchar> line(
        static_cast<std::size_t>(std::max(result.width(), result.height()) + 2 * reach));
    for (int pass = 0; pass < 3; ++pass) {
        for (int y = 0; y < result.height(); ++y)
            boxBlur(pixels + y * result.bytesPerLine(), 1, result.width(), reach, line);
        for (int x = 0; x < result.width(); ++x)
            boxBlur(pixels + x, result.bytesPerLine(), result.height(), reach, line);
    }
    return result;
}

QImage tinted(const QImage& mask, const QColor& color) {
    QImage image(mask.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    QImage plain = mask;
    plain.setDevicePixelRatio(1);
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_DestinationIn);
    painter.drawImage(0, 0, plain);
    painter.end();
    image.setDevicePixelRatio(mask.devicePixelRatio());
    return image;
}

} // namespace murlo
