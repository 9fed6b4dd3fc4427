#pragma once

#include "platform/Scheduler.h"
#include "windows/QuitQuestion.h"

#include <functional>

namespace murlo {

class Settings;

/// How the program ends: asks the user until a quit was confirmed once, obeys the system at once,
/// and lets a pending insertion finish first. Main thread.
class QuitRule {
public:
    struct Partners {
        Scheduler& scheduler;
        Settings& settings;
        /// Nothing new may begin from now on; called once.
        std::function<void()> closeDoors;
        /// Calls back when no text is on its way into a box.
        std::function<void(std::function<void()> idle)> whenInserted;
        /// Calls back when every change of a secret is where it outlives the program.
        std::function<void(std::function<void()> written)> whenSecretsWritten;
        /// Ends the event loop.
        std::function<void()> end;
    };
    explicit QuitRule(Partners partners);

    /// The user wants to quit.
    void requested();
    /// The session ends: from now on no quit is asked about.
    void sessionEnds() { m_sessionEnds = true; }
    /// Quits without a question, once the words on their way have arrived and the secrets are safe;
    /// after 3 s at the latest.
    void quit();
    /// Cancels the question and the timeout.
    void withdraw();

private:
    Partners m_with;
    QuitQuestion m_question;
    ScheduledWork m_limit;
    bool m_sessionEnds = false;
    bool m_quitting = false;
    bool m_inserting = false; ///< while it quits: a text is still on its way
    Lifetime m_lifetime;
};

} // namespace murlo
