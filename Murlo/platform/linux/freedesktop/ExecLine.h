#pragma once

#include <QString>

namespace murlo {

/// An argument of a desktop entry's Exec line: quoted, with special characters escaped, as the
/// Desktop Entry Specification says. Strings in the file are escaped once more, so a backslash in
/// the line becomes two in the file.
[[nodiscard]] QString execQuoted(const QString& argument);

} // namespace murlo
