#pragma once

#include "platform/Scheduler.h"
#include "platform/SecretStore.h"

#include <QMap>
#include <QStringList>

#include <deque>
#include <limits>
#include <vector>

namespace murlo {

/// A secret store in memory, on the scheduler's time. Set its members to script it: the questions
/// that begin later are answered accordingly.
class FakeSecretStore : public SecretStore {
public:
    static constexpr double limit = 5; ///< seconds per question
    static constexpr double never = std::numeric_limits<double>::infinity();

    explicit FakeSecretStore(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    QMap<QString, QString> items;
    /// Why the store is unavailable; empty while it is available.
    QString refusal;
    bool noStore = false; ///< that is because there is none
    /// Seconds until an answer. Above `limit` the question fails, the next one begins, and the
    /// answer comes late; `never` for a store that hangs.
    double delay = 0;
    /// The questions begun so far: "read apiKey", "save apiKey", "remove apiKey".
    QStringList asked;

    /// The store ends: what it has not answered fails, as does all that follows.
    void die() {
        refusal = QStringLiteral("the secret service has ended");
        m_late.clear();
        if (!m_answer.isPending()) return;
        m_answer = m_scheduler.after(0, [this] { finish(false); });
    }

    void read(const QString& account, std::function<void(Found)> done,
              std::function<void(Found)> late = {}) override {
        const auto found = [this, account] {
            return items.contains(account) ? std::optional(items[account]) : std::nullopt;
        };
        add({QStringLiteral("read ") + account,
             [=](bool inTime) {
                 if (inTime) return done(found());
                 if (late) late(found());
             },
             [done](const SecretError& why) { done(tl::unexpected(why)); }});
    }
    void save(const QString& account, const QString& value, std::function<void(Done)> done,
              std::function<void(Done)> late = {}) override {
        change(
            QStringLiteral("save ") + account, [=, this] { items[account] = value; }, done, late);
    }
    void remove(const QString& account, std::function<void(Done)> done,
                std::function<void(Done)> late = {}) override {
        change(
            QStringLiteral("remove ") + account, [=, this] { items.remove(account); }, done, late);
    }

private:
    struct Question {
        QString name;
        std::function<void(bool inTime)> answer;
        std::function<void(const SecretError&)> refuse;
    };

    void change(const QString& name, const Work& carryOut, const std::function<void(Done)>& done,
                const std::function<void(Done)>& late) {
        add({name,
             [=](bool inTime) {
                 carryOut();
                 if (const auto& told = inTime ? done : late) told({});
             },
             [done](const SecretError& why) { done(tl::unexpected(why)); }});
    }

    void add(Question question) {
        m_questions.push_back(std::move(question));
        if (m_questions.size() == 1) begin();
    }
    void begin() {
        m_answer = m_scheduler.after(0, [this] {
            asked << m_questions.front().name;
            const bool inTime = delay <= limit;
            const double wait = refusal.isEmpty() ? std::min(delay, limit) : 0;
            if (!inTime && delay != never && refusal.isEmpty())
                m_late.push_back(m_scheduler.after(
                    delay, [answer = m_questions.front().answer] { answer(false); }));
            m_answer = m_scheduler.after(wait, [this, inTime] { finish(inTime); });
        });
    }
    void finish(bool inTime) {
        const Question question = std::move(m_questions.front());
        m_questions.pop_front();
        if (!m_questions.empty()) begin();
        if (!refusal.isEmpty()) return question.refuse({refusal, noStore});
        if (inTime) return question.answer(true);
        question.refuse({QStringLiteral("the secret service did not answer in time")});
    }

    Scheduler& m_scheduler;
    std::deque<Question> m_questions; ///< the first one is under way
    ScheduledWork m_answer;           ///< what comes next in the first one
    std::vector<ScheduledWork> m_late;
};

} // namespace murlo
