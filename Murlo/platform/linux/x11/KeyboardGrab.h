#pragma once

#include "platform/linux/x11/InputDevices.h"
#include "platform/linux/x11/SyntheticKeys.h"

#include <map>

namespace murlo {

/// Keyboards whose keys reach applications only through us: each is taken off its master for as
/// long, without any change of focus, and what may pass is posted as a synthetic key in its place.
/// Reader thread.
class KeyboardGrab {
public:
    KeyboardGrab(const XcbConnection& connection, SyntheticKeys& synthetic)
        : m_connection(connection)
        , m_synthetic(synthetic) {}

    void begin(xcb_input_device_id_t, const KeySet&) {}
    void endWhenKeysAreUp() {}
    void end() {}
    bool isWanted() const { return false; }
    bool isFiltering(xcb_input_device_id_t) const { return false; }
    void forward(xcb_input_device_id_t, xcb_keycode_t, bool) {}
    void swallow(xcb_input_device_id_t, xcb_keycode_t) {}
    void release(xcb_input_device_id_t, xcb_keycode_t) {}

private:
    [[maybe_unused]] const XcbConnection& m_connection;
    [[maybe_unused]] SyntheticKeys& m_synthetic;
};

} // namespace murlo
