#include "hints/ScreenList.h"

#include <QGuiApplication>
#include <QScreen>

namespace murlo {

QList<HintScreen> hintScreens() {
    QList<HintScreen> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        // A screen keeps its device pixels' corner and is measured in points from there.
        const QRect points = screen->geometry();
        screens.append(
            {points, QRectF(points.topLeft(), QSizeF(points.size()) * screen->devicePixelRatio())});
    }
    return screens;
}

ScreenGeometry currentScreens() {
    ScreenGeometry geometry;
    for (const HintScreen& screen : hintScreens()) {
        geometry.screens.append(screen.device);
        geometry.scales.append(screen.device.width() / screen.frame.width());
    }
    return geometry;
}

} // namespace murlo
