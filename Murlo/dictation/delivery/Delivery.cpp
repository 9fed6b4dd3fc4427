#include "dictation/delivery/Delivery.h"

#include "support/Log.h"

#include "dictation/delivery/HistoryStore.h"
#include "dictation/delivery/TextInserter.h"
#include "platform/Applications.h"
#include "settings/Settings.h"
#include "telemetry/UsageTracker.h"

namespace murlo {

namespace {
constexpr double focusSettling = 0.18; // seconds between refocusing a box and inserting
constexpr double focusPatience = 2.5;  // insert anyway after this
} // namespace

namespace {

int wordCount(const QString& text) {
    int words = 0;
    bool inside = false;
    for (const QChar c : text) {
        if (!c.isSpace() && !inside) ++words;
        inside = !c.isSpace();
    }
    return words;
}

} // namespace

Delivery::Delivery(Scheduler& scheduler, Settings& settings, InputTargets& targets,
                   TextInserter& inserter, HistoryStore& history, UsageTracker& usage,
                   Applications& applications)
    : m_scheduler(scheduler)
    , m_settings(settings)
    , m_targets(targets)
    , m_inserter(inserter)
    , m_history(history)
    , m_usage(usage)
    , m_applications(applications) {}

std::shared_ptr<void> Delivery::dictationBegins() {
    return m_inserter.prepare();
}

void Delivery::prepare(const std::optional<InputTarget>& target, std::function<bool()> wanted,
                       std::function<void()> ready) {
    m_pending.push_back({target, std::move(wanted), std::move(ready)});
    if (!m_busy) next();
}

void Delivery::next() {
    if (m_pending.empty()) return;
    m_busy = true;
    const qint64 attempt = ++m_attempt;
    const std::optional<InputTarget> target = m_pending.front().target;
    if (!target || !m_pending.front().wanted() || m_targets.isStillFocused(*target)) {
        deliver();
        return;
    }
    m_targets.isAlive(*target, m_lifetime.guard([this, attempt, box = *target](bool alive) {
        if (attempt != m_attempt) return;
        if (alive) {
            // The focus must not move while an earlier text is still being typed.
            m_inserter.whenIdle(m_lifetime.guard([this, box] { bringIntoFocus(box); }));
        } else {
            deliver(); // the box is gone: whatever has the focus now gets the words
        }
    }));
}

void Delivery::bringIntoFocus(const InputTarget& target) {
    if (!m_pending.front().wanted()) {
        deliver();
        return;
    }
    const qint64 attempt = m_attempt;
    m_patience = m_scheduler.after(focusPatience, [this] { deliver(); });
    m_targets.bringIntoFocus(target, m_lifetime.guard([this, attempt] {
        if (attempt != m_attempt || !m_patience.isPending()) return;
        m_settled = m_scheduler.after(focusSettling, [this] { deliver(); });
    }));
}

void Delivery::deliver() {
    m_settled.cancel();
    m_patience.cancel();
    ++m_attempt;
    const auto ready = std::move(m_pending.front().ready);
    m_pending.pop_front();
    ready();
    m_busy = false;
    next();
}

void Delivery::keep(const QString& text) {
    m_history.add(text);
    Log::write(QStringLiteral("dictation: a text that had not reached its box is in the history"));
}

void Delivery::insert(const Text& text, double clipDuration, std::shared_ptr<void> prepared,
                      std::function<void(const std::optional<Message>&)> done) {
    m_history.add(text.words); // first, so that the text is not lost if the insertion fails
    QString words = text.words;
    if (text.isRewritten && m_inserter.goesIntoTerminal())
        while (words.endsWith(QLatin1Char('\n'))) words.chop(1);
    const auto frontmost = m_applications.frontmostPid();
    m_inserter.insert(words, m_settings.insertMode(), std::move(prepared), std::move(done));
    m_usage.append(clipDuration, wordCount(text.words),
                   frontmost ? m_applications.identifier(*frontmost) : std::nullopt);
}

} // namespace murlo
