#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// One delivered dictation, without a word of it.
struct UsageEvent {
    double durationS = 0; ///< length of the recorded clip
    int wordCount = 0;
    std::optional<QString> targetApp; ///< identifier of the receiving application
};

/// Counts dictations. Events are not kept or sent yet: each leaves a line in the log.
class UsageTracker {
public:
    /// Counts a delivered dictation. Main thread.
    void append(const UsageEvent& event);
};

} // namespace murlo
