#include "screens/Screens.h"

#include <QDir>
#include <QImage>

namespace murlo {

std::optional<int> renderScreens(const QString& folder) {
    const QDir directory(folder);
    if (!directory.mkpath(QStringLiteral("."))) return std::nullopt;
    int written = 0;
    for (const auto& screens : {cardScreens(), hintLayers(), trayScreens()}) {
        for (const Screen& screen : screens) {
            for (const int scale : {1, 2}) {
                QImage image(screen.size * scale, QImage::Format_ARGB32_Premultiplied);
                image.setDevicePixelRatio(scale);
                image.fill(Qt::transparent);
                {
                    QPainter painter(&image);
                    screen.paint(painter);
                }
                const QString name =
                    scale == 1 ? QStringLiteral("%1.png") : QStringLiteral("%1@2x.png");
                if (!image.save(directory.filePath(name.arg(screen.name)))) return std::nullopt;
                ++written;
            }
        }
    }
    return written;
}

} // namespace murlo
