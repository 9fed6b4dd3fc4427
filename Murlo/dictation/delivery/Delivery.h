#pragma once

#include "MurloKit/Message.h"
#include "platform/Scheduler.h"
#include "targets/InputTarget.h"

#include <QString>

#include <deque>
#include <functional>
#include <memory>
#include <optional>

namespace murlo {

class Applications;
class HistoryStore;
class InputTargets;
class Settings;
class TextInserter;
class UsageTracker;

/// Brings finished texts into their boxes, one after another in the order in which they were handed
/// over. Main thread.
class Delivery {
public:
    Delivery(Scheduler& scheduler, Settings& settings, InputTargets& targets,
             TextInserter& inserter, HistoryStore& history, UsageTracker& usage,
             Applications& applications);

    /// Calls `ready` once the box has the focus: at once when it has it, when there is no box or it
    /// no longer exists; else 0.18 s after it was refocused, and at the latest 2.5 s after the
    /// attempt. `ready` is called exactly once, on this or a later turn. The focus is not moved for
    /// a text that is no longer `wanted` when its turn comes.
    void prepare(const std::optional<InputTarget>& target, std::function<bool()> wanted,
                 std::function<void()> ready);

    /// A finished text. One that was rewritten is not its user's own: its line feeds at the end do
    /// not go into a terminal, where they would run it as a command.
    struct Text {
        QString words;
        bool isRewritten = false;
    };

    /// Keeps the text in the history, inserts it and counts it. `done` is called once, during the
    /// call or later, with what the user must be told. `prepared` comes from `dictationBegins`.
    void insert(const Text& text, double clipDuration, std::shared_ptr<void> prepared,
                std::function<void(const std::optional<Message>&)> done);

    /// Only keeps the text in the history: there is no time left to insert it.
    void keep(const QString& text);

    /// Call it when a dictation begins: what is on the clipboard is read while the user speaks,
    /// until the result is destroyed.
    [[nodiscard]] std::shared_ptr<void> dictationBegins();

private:
    struct Pending {
        std::optional<InputTarget> target;
        std::function<bool()> wanted;
        std::function<void()> ready;
    };

    void next();
    void bringIntoFocus(const InputTarget& target);
    void deliver();

    Scheduler& m_scheduler;
    Settings& m_settings;
    InputTargets& m_targets;
    TextInserter& m_inserter;
    HistoryStore& m_history;
    UsageTracker& m_usage;
    Applications& m_applications;
    std::deque<Pending> m_pending; ///< the first is being delivered while `m_busy`
    bool m_busy = false;
    qint64 m_attempt = 0; ///< identifies late replies to an earlier delivery
    ScheduledWork m_settled;
    ScheduledWork m_patience;
    Lifetime m_lifetime;
};

} // namespace murlo
