#include "Restraint.h"

#include "Budgets.h"

namespace murlo {

bool mayEnter(AtspiRole role, const AtspiStates& states, int children) {
    if (children < 1 || children > budget::children) return false;
    // A word processor returns the visible paragraphs only.
    if (states.has(AtspiState::managesDescendants) && role != AtspiRole::documentText) return false;
    switch (role) {
    case AtspiRole::documentText:
    case AtspiRole::list:
    case AtspiRole::table:
    case AtspiRole::tree:
    case AtspiRole::treeTable:
    case AtspiRole::layeredPane:
    case AtspiRole::documentSpreadsheet:
        return children <= budget::rows;
    default:
        return true;
    }
}

bool isVast(int children) {
    return children > budget::searchedChildren;
}

bool searchesSafely(const QString& toolkit) {
    return toolkit == QLatin1String("Gecko") || toolkit == QLatin1String("Chromium") ||
           toolkit == QLatin1String("WebKitGTK");
}

} // namespace murlo
