#pragma once

#include "platform/linux/x11/keys/InputDevices.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <limits>
#include <map>

namespace murlo {

/// A key event of one keyboard, with the sequence number of the last request that the server had
/// processed: that tells whether it came before or after a grab began.
struct KeyMove {
    xcb_input_device_id_t device = 0;
    xcb_keycode_t keycode = 0;
    quint32 sequence = 0;
};

/// Grabbed keyboards, whose keys reach applications only through us: the grab detaches each from
/// its master, without a focus change, and keys that may pass are posted as synthetic ones. Report
/// every press and release in the order of events. Reader thread.
class KeyboardGrab {
public:
    KeyboardGrab(const XcbConnection& connection, SyntheticKeys& synthetic)
        : m_connection(connection)
        , m_synthetic(synthetic) {}

    /// Grabs a keyboard; `down` are its keys whose press applications have seen. False when another
    /// program has grabbed it.
    bool begin(xcb_input_device_id_t device, const KeySet& down);
    /// Lets every key pass from now on. The keyboards are ungrabbed once no swallowed key is down:
    /// otherwise it would start to repeat in the focused application.
    void finish();
    /// Whether keyboards wait to be ungrabbed until swallowed keys are released.
    [[nodiscard]] bool isFinishing() const { return m_finishing; }
    /// Ungrabs all keyboards at once.
    void end();
    /// Forgets a keyboard that was removed.
    void forget(xcb_input_device_id_t device);

    /// Whether this press is hidden by the grab, so that it must be passed or swallowed.
    [[nodiscard]] bool isFiltering(const KeyMove& key) const {
        return !m_finishing && holds(key) && m_taken.at(key.device).until == open;
    }
    /// A key was pressed and may reach applications.
    void pass(const KeyMove& key);
    /// A key was pressed and must not reach applications.
    void swallow(const KeyMove& key) { m_taken[key.device].swallowed.set(key.keycode); }
    /// A key was released; also call it after the keyboard was ungrabbed.
    void release(const KeyMove& key);

private:
    static constexpr quint32 open = std::numeric_limits<quint32>::max();

    struct Taken {
        quint32 from = 0;     ///< sequence number of the grab request
        quint32 until = open; ///< of the ungrab request
        KeySet seen;          ///< down; applications saw the press before the grab
        KeySet passed;        ///< down, posted by us
        KeySet swallowed;     ///< down, unseen
    };

    [[nodiscard]] bool holds(const KeyMove& key) const;
    void post(xcb_keycode_t keycode, bool press);

    const XcbConnection& m_connection;
    SyntheticKeys& m_synthetic;
    std::map<xcb_input_device_id_t, Taken> m_taken; ///< grabbed now or earlier
    bool m_finishing = false;
};

} // namespace murlo
