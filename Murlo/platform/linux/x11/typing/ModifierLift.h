#pragma once

#include "platform/linux/x11/keys/InputDevices.h"
#include "platform/linux/x11/keys/KeyboardMap.h"
#include "platform/linux/x11/keys/SyntheticKeys.h"

#include <set>

namespace murlo {

/// Takes the user's modifiers and locks out of the way of synthetic keys and puts them back. Main
/// thread, on the connection that posts the keys.
class ModifierLift {
public:
    ModifierLift(const XcbConnection& connection, SyntheticKeys& synthetic)
        : m_connection(connection)
        , m_synthetic(synthetic) {}

    /// Releases every modifier key that is down and switches Caps Lock and other locks off (Num
    /// Lock changes no key that is posted). May be called again for modifiers pressed since.
    /// `neutral` is a key without symbols, pressed so that the release of Alt or Super opens no
    /// menu.
    void lift(const KeyboardMap& map, std::optional<xcb_keycode_t> neutral);
    /// Presses the keys again that are still held down on a real keyboard, and restores the locks.
    void restore();

    /// Handles an event of the connection: restored keys are released when the real ones are.
    void handle(const xcb_generic_event_t& event);

private:
    [[nodiscard]] KeySet heldOnKeyboards() const;
    void tap(std::optional<xcb_keycode_t> key);
    void watchReleases();

    const XcbConnection& m_connection;
    SyntheticKeys& m_synthetic;
    std::set<xcb_keycode_t> m_lifted;
    std::set<xcb_keycode_t> m_restored;     ///< pressed by us until the user releases them
    std::set<xcb_keycode_t> m_openingMenus; ///< Alt and Super keys among the lifted
    std::optional<xcb_keycode_t> m_neutral;
    quint8 m_locked = 0;
    bool m_watching = false;
};

} // namespace murlo
