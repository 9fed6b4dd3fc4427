#pragma once

#include <QString>
#include <QStringList>

namespace murlo {

/// The user's vocabulary, kept as one string of terms separated by a comma and a blank.
namespace Vocabulary {

/// The terms of the string: split at every comma, trimmed, empty ones dropped.
[[nodiscard]] QStringList terms(const QString& stored);

/// The string with a term added at the end: commas in what was typed become blanks; an empty term
/// and one that is there already change nothing.
[[nodiscard]] QString adding(const QString& typed, const QString& stored);

/// The string without the term, wherever it stood.
[[nodiscard]] QString removing(const QString& term, const QString& stored);

} // namespace Vocabulary
} // namespace murlo
