#include "account/PromptEnhancer.h"

#include "platform/Applications.h"
#include "platform/Scheduler.h"
#include "support/Log.h"

namespace murlo {

PromptEnhancer::PromptEnhancer(Applications& applications, Scheduler& scheduler)
    : m_applications(applications)
    , m_scheduler(scheduler) {}

std::optional<QString>
PromptEnhancer::targetBundleId(const std::optional<InputTarget>& pinned) const {
    if (pinned) {
        if (auto identifier = m_applications.identifier(pinned->pid)) return identifier;
    }
    const auto frontmost = m_applications.frontmostPid();
    return frontmost ? m_applications.identifier(*frontmost) : std::nullopt;
}

void PromptEnhancer::enhance(const QString& text, const std::optional<QString>& /*targetApp*/,
                             std::function<void(QString)> done) {
    Log::write(QStringLiteral("enhance: skipped: not available yet"));
    m_scheduler.nextTurn([text, done = std::move(done)] { done(text); });
}

} // namespace murlo
