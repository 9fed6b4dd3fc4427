#include "Restraint.h"

namespace murlo {

bool mayEnter(AtspiRole role, const AtspiStates& states, int children) {
    constexpr int mostRows = 250;
    constexpr int mostChildren = 2000;
    if (children < 1 || children > mostChildren) return false;
    // A word processor tells of the paragraphs that show.
    if (states.has(AtspiState::managesDescendants) && role != AtspiRole::documentText) return false;
    switch (role) {
    case AtspiRole::documentText:
    case AtspiRole::list:
    case AtspiRole::table:
    case AtspiRole::tree:
    case AtspiRole::treeTable:
    case AtspiRole::layeredPane:
    case AtspiRole::documentSpreadsheet:
        return children <= mostRows;
    default:
        return true;
    }
}

bool isVast(int children) {
    // A browser looks at some 40 objects in a millisecond; a row has several.
    constexpr int most = 1000;
    return children > most;
}

bool searchesSafely(const QString& toolkit) {
    return toolkit == QLatin1String("Gecko") || toolkit == QLatin1String("Chromium") ||
           toolkit == QLatin1String("WebKitGTK");
}

} // namespace murlo
