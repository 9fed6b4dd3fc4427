#include "MurloKit/PasteWay.h"

namespace murlo {

std::optional<PasteWay> pasteWayFromRawValue(const QString& rawValue) {
    const QString name = rawValue.trimmed().toLower();
    if (name == QLatin1String("ctrl+v")) return PasteWay::controlV;
    if (name == QLatin1String("ctrl+shift+v")) return PasteWay::controlShiftV;
    if (name == QLatin1String("shift+insert")) return PasteWay::shiftInsert;
    if (name == QLatin1String("type")) return PasteWay::typing;
    return std::nullopt;
}

} // namespace murlo
