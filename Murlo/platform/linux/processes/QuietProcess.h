#pragma once

#include <QByteArray>
#include <QTimer>

#include <functional>
#include <optional>

namespace murlo {

/// Notices when a program that answers no pings (xterm, say) has caught up with its events: a
/// process that sleeps and has not run at all for a while has nothing left to do. Main thread.
class QuietProcess {
public:
    /// `onQuiet` is called on a later turn for every `watch` that is not followed by another.
    explicit QuietProcess(std::function<void()> onQuiet);

    /// Begins anew. Without a process, or one that cannot be looked at, a fixed time has to do.
    void watch(std::optional<qint64> pid);
    void stop() { m_timer.stop(); }

private:
    void check();

    std::function<void()> m_onQuiet;
    QTimer m_timer;
    std::optional<qint64> m_pid;
    QByteArray m_ran;    ///< the kernel's account of its running time
    int m_unchanged = 0; ///< looks since that changed
    int m_looks = 0;
};

} // namespace murlo
