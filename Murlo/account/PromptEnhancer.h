#pragma once

#include "targets/InputTarget.h"

#include <QString>

#include <functional>
#include <optional>

namespace murlo {

class Applications;
class Scheduler;

/// Rewrites a transcript for the application it goes to. Rewriting is not available yet: the text
/// comes back as it was spoken, with a log line. Main thread.
class PromptEnhancer {
public:
    PromptEnhancer(Applications& applications, Scheduler& scheduler);

    /// Identifier of the application that receives the text: the picked box's, else the frontmost.
    [[nodiscard]] std::optional<QString>
    targetBundleId(const std::optional<InputTarget>& pinned) const;

    /// Answers once, on a later turn, with the text to deliver; never fails.
    void enhance(const QString& text, const std::optional<QString>& targetApp,
                 std::function<void(QString)> done);

private:
    Applications& m_applications;
    Scheduler& m_scheduler;
};

} // namespace murlo
