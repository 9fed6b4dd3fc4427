#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// Counts dictations. Events are not kept or sent yet: each leaves a line in the log.
class UsageTracker {
public:
    /// Counts a delivered dictation: seconds of the recorded clip, words of the text, identifier of
    /// the receiving application. Main thread.
    void append(double durationS, int wordCount, const std::optional<QString>& targetApp);
};

} // namespace murlo
