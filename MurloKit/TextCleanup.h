#pragma once

#include <QString>

namespace murlo {

/// Cleans what the speech engine writes.
namespace TextCleanup {

/// The text without non-speech markers such as «[BLANK_AUDIO]» or «(coughs)», with runs of blanks
/// and tabs reduced to one blank, runs of three or more line feeds to two, and trimmed. Takes time
/// in proportion to the text's length. Any thread.
[[nodiscard]] QString clean(QString text);

} // namespace TextCleanup
} // namespace murlo
