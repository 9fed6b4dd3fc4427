#include "look/Look.h"

#include <QGuiApplication>

namespace murlo::Look {

QFont font(int size, QFont::Weight weight) {
    QFont font;
    QStringList families{QStringLiteral("Inter")};
    families += QGuiApplication::font().families();
    font.setFamilies(families);
    font.setPixelSize(size);
    font.setWeight(weight);
    // Whole-pixel hints would make words jump while they move.
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

} // namespace murlo::Look
