#pragma once

#include <QString>

namespace murlo {

/// Characters as a user sees them: grapheme clusters.
namespace Characters {

/// How many there are in the text.
[[nodiscard]] qsizetype count(const QString& text);
/// The first `count` of them, or the whole text if there are fewer.
[[nodiscard]] QString first(const QString& text, qsizetype count);

} // namespace Characters
} // namespace murlo
