#include "account/PromptEnhancer.h"

#include "MurloKit/Characters.h"
#include "account/AccountManager.h"
#include "backend/RefusedKeys.h"
#include "platform/Applications.h"
#include "settings/Settings.h"
#include "support/Log.h"

namespace murlo {

namespace {
constexpr qsizetype longest = 20000; // UTF-16 code units
constexpr qsizetype mostGrowth = 10;
} // namespace

/// One text against the clock.
struct PromptEnhancer::Race {
    QString text;
    double began = 0; ///< uptime
    std::function<void(QString)> done;
    ScheduledWork timer;
    AccountClient::Request request;
};

PromptEnhancer::PromptEnhancer(const Partners& with)
    : m_with(with) {}

PromptEnhancer::~PromptEnhancer() = default;

bool PromptEnhancer::isOn() const {
    return m_with.settings.truth(SettingKey::enhancePrompt) && m_with.account.isSignedIn();
}

std::optional<QString>
PromptEnhancer::targetBundleId(const std::optional<InputTarget>& pinned) const {
    if (pinned) {
        if (auto identifier = m_with.applications.identifier(pinned->pid)) return identifier;
    }
    const auto frontmost = m_with.applications.frontmostPid();
    return frontmost ? m_with.applications.identifier(*frontmost) : std::nullopt;
}

void PromptEnhancer::enhance(const QString& text, const std::optional<QString>& targetApp,
                             std::function<void(QString)> done) {
    const auto race = std::make_shared<Race>();
    race->text = text;
    race->began = m_with.scheduler.uptime();
    race->done = std::move(done);
    m_races.insert(race);
    const std::weak_ptr<Race> weak = race; // the handles in it must not keep it
    const auto finishLater = [this, weak](double seconds) {
        return m_with.scheduler.after(seconds, [this, weak] {
            if (const auto late = weak.lock()) finish(late, {});
        });
    };
    if (!isOn()) {
        race->timer = finishLater(0);
        return;
    }
    // Asked for first: of two ends at the same moment it is the one that counts.
    race->timer = finishLater(limit);
    race->request = m_with.client.polish(
        text, targetApp, limit, [this, weak](const tl::expected<QString, AccountError>& reply) {
            const auto answered = weak.lock();
            if (!answered) return;
            if (reply) {
                finish(answered, *reply);
                return;
            }
            const bool revoked = reply.error().kind == AccountError::unauthorized &&
                                 !reply.error().sentKey.isEmpty();
            if (!revoked)
                Log::write(QStringLiteral("enhance: skipped: ") + reply.error().description());
            m_with.refused.note(reply.error());
            finish(answered, {});
        });
}

void PromptEnhancer::finish(const std::shared_ptr<Race>& race,
                            const std::optional<QString>& rewritten) {
    m_races.erase(race);
    race->timer.cancel();
    race->request.reset();
    const auto result = rewritten ? usable(*rewritten, race->text) : std::nullopt;
    if (result)
        Log::write(QStringLiteral("enhance: %1 → %2 chars in %3s")
                       .arg(Characters::count(race->text))
                       .arg(Characters::count(*result))
                       .arg(m_with.scheduler.uptime() - race->began, 0, 'f', 2));
    const auto done = std::exchange(race->done, nullptr);
    done(result.value_or(race->text));
}

std::optional<QString> PromptEnhancer::usable(const QString& rewritten, const QString& spoken) {
    if (rewritten.size() > longest && rewritten.size() / mostGrowth > spoken.size())
        return std::nullopt;
    QString text;
    text.reserve(rewritten.size());
    for (const QChar c : rewritten) {
        const bool kept = c == QLatin1Char('\n') || c == QLatin1Char('\t');
        if (kept || c.category() != QChar::Other_Control) text.append(c);
    }
    if (text.trimmed().isEmpty()) return std::nullopt;
    return text;
}

} // namespace murlo
