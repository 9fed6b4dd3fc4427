#include "look/Look.h"
#include "look/Symbols.h"
#include "screens/Screens.h"

namespace murlo {

std::vector<Screen> trayScreens() {
    const QSize size(220, 110);
    return {{QStringLiteral("tray-item"), size, [size](QPainter& painter) {
                 painter.fillRect(QRect(0, 0, size.width(), 55), QColor(32, 32, 36));
                 painter.fillRect(QRect(0, 55, size.width(), 55), QColor(238, 238, 240));
                 for (const int row : {0, 1}) {
                     double x = 12;
                     for (const QColor& tint : {row == 0 ? QColor(Qt::white) : QColor(40, 40, 44),
                                                Look::red, Look::orange}) {
                         for (const int side : {16, 22, 24}) {
                             drawSymbol(painter, Symbol::brand,
                                        QRectF(x, row * 55 + (55 - side) / 2, side, side), tint);
                             x += side + 1.5;
                         }
                     }
                 }
             }}};
}

} // namespace murlo
