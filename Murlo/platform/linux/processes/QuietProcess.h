#pragma once

#include <QByteArray>
#include <QTimer>

#include <functional>
#include <optional>

namespace murlo {

/// Detects when a program that does not answer pings (such as xterm) has processed its events: its
/// process sleeps and has used no CPU time for a while. Main thread.
class QuietProcess {
public:
    /// `onQuiet` is called on a later turn for every `watch` that is not followed by another.
    explicit QuietProcess(std::function<void()> onQuiet);

    /// Starts over. Without a process, or if it cannot be inspected, waits for a fixed time.
    void watch(std::optional<qint64> pid);
    void stop() { m_timer.stop(); }

private:
    void check();

    std::function<void()> m_onQuiet;
    QTimer m_timer;
    std::optional<qint64> m_pid;
    QByteArray m_ran;    ///< its running time as last read from the kernel
    int m_unchanged = 0; ///< polls since that changed
    int m_looks = 0;
};

} // namespace murlo
