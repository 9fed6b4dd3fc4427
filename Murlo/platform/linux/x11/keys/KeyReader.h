#pragma once

#include "platform/Port.h"
#include "platform/linux/threads/Bell.h"
#include "platform/linux/x11/keys/InputDevices.h"
#include "platform/linux/x11/keys/KeyMailbox.h"
#include "platform/linux/x11/keys/KeyboardGrab.h"
#include "platform/linux/x11/keys/KeyboardMap.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <atomic>
#include <map>
#include <thread>

namespace murlo {

/// Watches every keyboard on a connection and thread of its own and posts key events to a mailbox.
/// A busy main thread thus never delays typing by more than one answer timeout, and keys keep their
/// order when filtering begins or ends, because both modes read the same events.
class KeyReader : NonCopyable {
public:
    /// How long a press waits for the main thread's answer.
    static constexpr std::chrono::milliseconds answerLimit{250};

    /// Connects and reads the state of the keyboards; ask `isUsable` before `start`.
    KeyReader(std::shared_ptr<SyntheticKeys> synthetic, std::shared_ptr<KeyMailbox> mailbox);
    /// Releases all keyboards and joins the thread. Close the mailbox first.
    ~KeyReader();

    [[nodiscard]] bool isUsable() const { return m_usable; }
    /// False once the server is gone.
    [[nodiscard]] bool isRunning() const { return m_running; }
    void start();

    /// Takes effect on the thread before the next key.
    void setFiltering(bool filtering);
    /// How long a swallowed key may delay the release of its keyboard after filtering has ended:
    /// the key's release event may get lost.
    static constexpr std::chrono::milliseconds releaseLimit{2000};
    /// Makes the thread enumerate the keyboards again.
    void refresh();

private:
    struct Keyboard {
        bool isSynthetic = false;
        KeySet down;
    };

    void run();
    void carryOutRequests();
    void handle(const xcb_generic_event_t& event);
    void handleKey(const xcb_input_raw_key_press_event_t& key, bool press);
    void updateMap();
    /// Enumerates the keyboards, and reads which keys of new ones are down.
    void readKeyboards();
    /// Keyboards were added, removed, enabled or disabled.
    void hierarchyChanged(const xcb_input_hierarchy_event_t& event);
    void forgetKeyboard(xcb_input_device_id_t device);
    /// Milliseconds until the keyboards must be released; -1 for no timeout.
    [[nodiscard]] int untilGivenBack();
    void takeKeyboards();
    void offer(const KeyMove& key);
    void report(const KeyPosition& modifier);
    [[nodiscard]] quint32 flags() const;

    std::shared_ptr<SyntheticKeys> m_synthetic;
    std::shared_ptr<KeyMailbox> m_mailbox;
    Bell m_bell;
    std::atomic<bool> m_stop = false;
    std::atomic<bool> m_running = false;
    std::atomic<bool> m_filteringWanted = false;
    std::atomic<bool> m_refreshWanted = false;

    // The rest is used by the thread alone once it runs.
    XcbConnection m_connection;
    bool m_usable;
    KeyboardWatch m_watch;
    std::optional<KeyboardMap> m_map;
    std::vector<xcb_keycode_t> m_modifiers; ///< the map's modifier keys
    std::map<xcb_input_device_id_t, Keyboard> m_keyboards;
    KeyboardGrab m_grab;
    bool m_filtering = false; ///< the last request carried out
    std::optional<std::chrono::steady_clock::time_point> m_giveBack; ///< of keyboards; deadline
    qint64 m_time = 0; ///< of the last event, extended to 64 bits across wrap-arounds
    std::thread m_thread;
};

} // namespace murlo
