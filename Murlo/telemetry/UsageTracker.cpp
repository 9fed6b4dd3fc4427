#include "telemetry/UsageTracker.h"

#include "support/Log.h"

namespace murlo {

void UsageTracker::append(const UsageEvent& event) {
    Log::write(QStringLiteral("usage: dictation of %1 s, %2 words, into %3")
                   .arg(event.durationS, 0, 'f', 1)
                   .arg(event.wordCount)
                   .arg(event.targetApp.value_or(QStringLiteral("an unknown application"))));
}

} // namespace murlo
