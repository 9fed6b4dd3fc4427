#pragma once

#include "AtspiAnswers.h"
#include "MurloKit/ElementFacts.h"

namespace murlo {

// The classification of AT-SPI roles, in one table.

/// Maps an AT-SPI role to an element's: text that is not editable becomes `staticText`, a combo box
/// without an editable text `popUpButton`.
[[nodiscard]] ElementFacts describe(const AtspiAnswers& object);

/// Whether objects of the role are controls that are operated rather than filled in.
[[nodiscard]] bool isControl(AtspiRole role);

/// Whether no text boxes are searched for inside objects of a role.
[[nodiscard]] bool isBarren(AtspiRole role);

/// Whether an object may be a text box, so that its other properties are read.
[[nodiscard]] bool mayBeBox(AtspiRole role, const AtspiStates& states);

/// The roles that can be a text box without the state "editable".
[[nodiscard]] QList<AtspiRole> boxRoles();

/// Whether an object is a text frame whose paragraphs are separate objects, and which is not being
/// edited: LibreOffice reports it as defunct then, with paragraphs only as wide as their words.
[[nodiscard]] bool isTextHolder(AtspiRole role, const AtspiStates& states);

} // namespace murlo
