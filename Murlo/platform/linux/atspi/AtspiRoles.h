#pragma once

#include "AtspiAnswers.h"
#include "MurloKit/ElementFacts.h"

namespace murlo {

// What is known of this desktop's roles, in one table.

/// Maps an object's role onto that of an element: text that cannot be changed is `staticText`, a
/// combo box without a text to edit a `popUpButton`.
[[nodiscard]] ElementFacts describe(const AtspiAnswers& object);

/// Whether objects of the role are controls that one operates, rather than places that something
/// is put into.
[[nodiscard]] bool isControl(AtspiRole role);

/// Whether nobody looks for text boxes inside objects of a role.
[[nodiscard]] bool isBarren(AtspiRole role);

/// Whether an object may be a text box, so that it is worth a closer look.
[[nodiscard]] bool mayBeBox(AtspiRole role, const AtspiStates& states);

/// The roles that can be a text box without the state "editable".
[[nodiscard]] QList<AtspiRole> boxRoles();

/// Whether an object is the place of a text whose paragraphs are objects of their own, while nobody
/// writes there: LibreOffice calls it defunct then, and its paragraphs are as wide as their words.
[[nodiscard]] bool isTextHolder(AtspiRole role, const AtspiStates& states);

} // namespace murlo
