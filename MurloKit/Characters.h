#pragma once

#include <QString>

namespace murlo {

/// Characters as a user sees them: grapheme clusters.
namespace Characters {

/// How many there are in the text.
[[nodiscard]] qsizetype count(const QString& text);

} // namespace Characters
} // namespace murlo
