#include "tests/harness/desktop/Screenshot.h"

#include <QGuiApplication>
#include <QPixmap>
#include <QScreen>

namespace murlo {

bool saveScreenshot(const QString& file) {
    QScreen* screen = QGuiApplication::primaryScreen();
    return screen != nullptr && screen->grabWindow(0).save(file, "PNG");
}

} // namespace murlo
