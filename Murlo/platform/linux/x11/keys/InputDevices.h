#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <xcb/xinput.h>

#include <bitset>
#include <vector>

namespace murlo {

/// Which keys of a keyboard are down, by key code.
using KeySet = std::bitset<256>;

/// A slave keyboard as the server lists it.
struct SlaveKeyboard {
    xcb_input_device_id_t id = 0;
    /// The device that carries the synthetic keys of all programs, ours included.
    bool isSynthetic = false;
};

/// The X Input extension on a connection: the keyboards, their keys, and raw events of them.
namespace InputDevices {

/// Requests the XI version whose raw events are delivered during another program's grab as well.
/// False when the server does not support it. Call it once per connection, before anything else
/// here.
[[nodiscard]] bool prepare(const XcbConnection& connection);
/// Selects or deselects raw presses and releases of all keyboards, and hierarchy events, which
/// report keyboards that are added or removed.
void selectRawKeys(const XcbConnection& connection, bool select);
/// The enabled slave keyboards, including those detached from their master by a grab.
[[nodiscard]] std::vector<SlaveKeyboard> keyboards(const XcbConnection& connection);
/// The keys of a device that are down now; none when it is gone.
[[nodiscard]] KeySet keysDown(const XcbConnection& connection, xcb_input_device_id_t device);
/// The X Input event in a generic event, or -1 for other events.
[[nodiscard]] int eventType(const XcbConnection& connection, const xcb_generic_event_t& event);

} // namespace InputDevices

} // namespace murlo
