#include "telemetry/UsageTracker.h"

#include "support/Log.h"

namespace murlo {

void UsageTracker::append(double durationS, int wordCount,
                          const std::optional<QString>& targetApp) {
    Log::write(QStringLiteral("usage: dictation of %1 s, %2 words, into %3")
                   .arg(durationS, 0, 'f', 1)
                   .arg(wordCount)
                   .arg(targetApp.value_or(QStringLiteral("an unknown application"))));
}

} // namespace murlo
