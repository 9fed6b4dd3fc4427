#pragma once

#include "platform/Scheduler.h"

#include <functional>
#include <optional>

namespace murlo {

class Settings;
class SingleInstance;

/// Replaces this process by a fresh one: gives the lock of the only instance away, starts the
/// program again, and ends once the new process has the lock. If none takes it within 5 seconds,
/// this one takes it back and stays. Main thread.
class Relaunch : NonCopyable {
public:
    static constexpr double limit = 5;    ///< seconds until the new process must have the lock
    static constexpr double period = 0.1; ///< seconds between looks

    /// The argument before the number of the process to wait for.
    static constexpr const char* argument = "--restarted";

    /// All must outlive it.
    struct Partners {
        Scheduler& scheduler;
        Settings& settings;
        SingleInstance& instance;
        std::function<void()> finishDictation; ///< delivers what is being said
        std::function<void()> quit;            ///< without a question
    };
    explicit Relaunch(Partners with)
        : m_with(std::move(with)) {}

    /// Begins; does nothing while one is under way.
    void begin();

private:
    void look(double until);
    void stay(const QString& why);

    Partners m_with;
    ScheduledWork m_looking;
};

/// The process that a program started with these arguments is to wait for, or nothing.
[[nodiscard]] std::optional<qint64> restartedFrom(const QStringList& arguments);

} // namespace murlo
