#pragma once

#include <QString>

namespace murlo {

/// A text for the user with the words that this desktop's users know, for presenters alone: what is
/// stored, logged or passed on keeps the original.
[[nodiscard]] QString desktopWords(const QString& text);

} // namespace murlo
