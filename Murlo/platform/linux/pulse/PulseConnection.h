#pragma once

#include "platform/Port.h"

#include <pulse/pulseaudio.h>

#include <QtGlobal>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>

namespace murlo {

/// The application's one connection to the sound server, on a thread of its own. It connects at
/// construction, and retries at doubling intervals (0.25 s to 16 s) when the server is missing or
/// was lost. It never starts a server.
///
/// Calls of the sound library are made under a `Lock`; its callbacks run on the connection's thread
/// and hold it already. Destroy it, and take locks, on any other thread.
class PulseConnection : NonCopyable {
public:
    class Lock : NonCopyable {
    public:
        explicit Lock(const PulseConnection& connection)
            : m_loop(connection.m_loop) {
            pa_threaded_mainloop_lock(m_loop);
        }
        ~Lock() { pa_threaded_mainloop_unlock(m_loop); }

    private:
        pa_threaded_mainloop* m_loop;
    };

    PulseConnection();
    ~PulseConnection();

    /// Blocks until connected, retrying at once if it is not, at most `seconds`; returns false at
    /// once when there is no server. Call it without the lock.
    bool connect(double seconds);

    /// Blocks until `condition`, evaluated under the lock after every `changed`, holds; false after
    /// `seconds`. Call it without the lock.
    bool waitFor(double seconds, const std::function<bool()>& condition);
    /// Something that a `waitFor` may wait for has changed. Any thread.
    void changed();

    /// The context, null when not connected. Call it under the lock.
    [[nodiscard]] pa_context* context() const { return m_ready ? m_context : nullptr; }

    /// Sets the callback for when another source becomes the default or a missing server
    /// (re)appears. It runs on the connection's thread. Call this under the lock.
    void setDefaultSourceObserver(std::function<void()> observer) {
        m_observer = std::move(observer);
    }

private:
    void open();
    void drop();
    void retryLater();
    void contextChanged();
    void askDefaultSource();
    void learnDefaultSource(const pa_server_info& server);

    pa_threaded_mainloop* m_loop;
    pa_context* m_context = nullptr;
    pa_time_event* m_retry = nullptr;
    bool m_ready = false;
    bool m_isNewsToCome = false; ///< the server was missing
    int m_attempts = 0;
    std::optional<std::string> m_defaultSource;
    std::function<void()> m_observer;

    std::mutex m_changeLock;
    std::condition_variable m_change;
    quint64 m_changes = 0;
};

} // namespace murlo
