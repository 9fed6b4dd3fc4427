#pragma once

#include <QString>

namespace murlo::backend {

/// How much an operator has to care about a line of the log.
enum class Severity { information, warning, failure };

/// Writes one line to standard error, where the journal reads its severity off a prefix and a
/// terminal shows none. Line breaks become blanks. Request bodies, dictated texts, tokens, keys and
/// e-mail addresses never go in. Any thread.
void say(Severity severity, const QString& sentence);

} // namespace murlo::backend
