#pragma once

#include "AtspiTypes.h"

namespace murlo {

/// Whether a program may be asked for the children of an object that has so many of them. The
/// program creates each of them for the answer, and a table has one per cell: a spreadsheet that is
/// asked for its children stops responding until it runs out of memory.
[[nodiscard]] bool mayEnter(AtspiRole role, const AtspiStates& states, int children);

/// Whether an object has so many children that a search through it and its descendants would block
/// its program.
[[nodiscard]] bool isVast(int children);

/// Whether a toolkit's own search (`Collection.GetMatches`) visits visible objects only. In other
/// toolkits it visits every cell of a table, and continues after the caller's timeout.
[[nodiscard]] bool searchesSafely(const QString& toolkit);

} // namespace murlo
