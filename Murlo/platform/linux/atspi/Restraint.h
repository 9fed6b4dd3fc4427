#pragma once

#include "AtspiTypes.h"

namespace murlo {

/// Whether a program may be asked for the children of an object that has so many of them. They are
/// made one by one for the answer, and a table has as many as it has cells: a spreadsheet that is
/// asked for its own takes no more keys, until it has taken all memory.
[[nodiscard]] bool mayEnter(AtspiRole role, const AtspiStates& states, int children);

/// Whether an object has so many children that a search through them, and through what is in them,
/// keeps its program from everything else.
[[nodiscard]] bool isVast(int children);

/// Whether a toolkit's own search (`Collection.GetMatches`) looks at what shows and nothing else.
/// The others' goes through every cell of a table, and goes on when nobody waits for it any more.
[[nodiscard]] bool searchesSafely(const QString& toolkit);

} // namespace murlo
