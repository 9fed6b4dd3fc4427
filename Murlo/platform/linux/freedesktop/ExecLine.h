#pragma once

#include <QString>

namespace murlo {

/// An argument of a desktop entry's Exec line: where it has special characters, it is quoted and
/// they are escaped, as the Desktop Entry Specification says. Strings in the file are escaped once
/// more, so a backslash in the line becomes two in the file. What needs no quotes gets none: the
/// opener of sessions without a desktop environment (xdg-utils 1.1.3) does not find a quoted
/// program.
[[nodiscard]] QString execArgument(const QString& argument);

} // namespace murlo
