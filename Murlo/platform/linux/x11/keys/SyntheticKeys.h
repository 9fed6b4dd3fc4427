#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <bitset>
#include <chrono>
#include <deque>
#include <mutex>

namespace murlo {

/// The key events that this application is about to synthesize, shared by those who post them and
/// by the event tap, which must ignore them. All synthetic keys of a session come from the same
/// device, ours as well as those of remote desktops and on-screen keyboards, and carry no sender:
/// the only way to recognise ours is to remember what we posted. Any thread.
class SyntheticKeys {
public:
    /// Queues a key event on the connection and remembers it as ours. Sent with the next flush.
    void post(const XcbConnection& connection, xcb_keycode_t keycode, bool press);

    /// Remembers an event that is about to be posted.
    void expect(unsigned keycode, bool press) {
        const std::lock_guard guard(m_lock);
        dropExpired();
        m_expected.push_back({keycode, press, Clock::now() + validity});
        if (keycode < m_down.size()) m_down[keycode] = press;
    }

    /// The keys that were pressed by us and not released yet.
    [[nodiscard]] std::bitset<256> down() {
        const std::lock_guard guard(m_lock);
        return m_down;
    }

    /// Whether an event just received is one of ours; consumes the expectation.
    [[nodiscard]] bool take(unsigned keycode, bool press) {
        const std::lock_guard guard(m_lock);
        dropExpired();
        for (auto at = m_expected.begin(); at != m_expected.end(); ++at) {
            if (at->keycode != keycode || at->press != press) continue;
            m_expected.erase(at);
            return true;
        }
        return false;
    }

private:
    using Clock = std::chrono::steady_clock;
    struct Expected {
        unsigned keycode;
        bool press;
        Clock::time_point end;
    };

    /// Expectations expire: the server drops some events (the release of a key that is up), and
    /// none are read while no tap is installed.
    static constexpr std::chrono::milliseconds validity{1000};

    void dropExpired() {
        const auto now = Clock::now();
        while (!m_expected.empty() && m_expected.front().end <= now) m_expected.pop_front();
    }

    std::mutex m_lock;
    std::bitset<256> m_down;
    std::deque<Expected> m_expected; ///< in the order of posting
};

} // namespace murlo
