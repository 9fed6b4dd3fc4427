#pragma once

#include "platform/linux/x11/keys/InputDevices.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <limits>
#include <map>

namespace murlo {

/// A key of one keyboard, with the number of the last request that the server had carried out when
/// it moved: that tells whether it moved before or after a grab began.
struct KeyMove {
    xcb_input_device_id_t device = 0;
    xcb_keycode_t keycode = 0;
    quint32 sequence = 0;
};

/// Keyboards whose keys reach applications only through us: each is taken off its master for as
/// long, without any change of focus, and what may pass is posted as a synthetic key in its place.
/// Every move of a key is told in the order of events. Reader thread.
class KeyboardGrab {
public:
    KeyboardGrab(const XcbConnection& connection, SyntheticKeys& synthetic)
        : m_connection(connection)
        , m_synthetic(synthetic) {}

    /// Takes a keyboard; `down` are its keys that applications have seen go down. False when
    /// another program has taken it.
    bool begin(xcb_input_device_id_t device, const KeySet& down);
    /// Every key passes from now on. The keyboards go back when no swallowed key is down any more:
    /// one that is would begin to repeat in the focused application.
    void finish();
    /// Keyboards wait for swallowed keys to be released before they go back.
    [[nodiscard]] bool isFinishing() const { return m_finishing; }
    /// Gives all keyboards back at once.
    void end();
    /// The keyboard is gone, and its keys with it.
    void forget(xcb_input_device_id_t device);

    /// Whether applications have not seen this key and somebody is to judge whether they may.
    [[nodiscard]] bool isFiltering(const KeyMove& key) const {
        return !m_finishing && holds(key) && m_taken.at(key.device).until == open;
    }
    /// A key went down and may be seen by applications.
    void pass(const KeyMove& key);
    /// A key went down and stays unseen.
    void swallow(const KeyMove& key) { m_taken[key.device].swallowed.set(key.keycode); }
    /// A key went up, also after the keyboard was given back.
    void release(const KeyMove& key);

private:
    static constexpr quint32 open = std::numeric_limits<quint32>::max();

    struct Taken {
        quint32 from = 0;     ///< number of the request that took the keyboard
        quint32 until = open; ///< of the one that gave it back
        KeySet seen;          ///< down for applications from before
        KeySet passed;        ///< down, posted by us
        KeySet swallowed;     ///< down, unseen
    };

    [[nodiscard]] bool holds(const KeyMove& key) const;
    void post(xcb_keycode_t keycode, bool press);

    const XcbConnection& m_connection;
    SyntheticKeys& m_synthetic;
    std::map<xcb_input_device_id_t, Taken> m_taken; ///< now, or before
    bool m_finishing = false;
};

} // namespace murlo
