#pragma once

#include "platform/linux/x11/XcbConnection.h"
#include "platform/linux/x11/keys/KeyPositions.h"

#include <QString>

#include <array>
#include <functional>
#include <optional>
#include <vector>
#include <xkbcommon/xkbcommon.h>

// The C header names a structure member with a C++ keyword.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace murlo {

/// A copy of the session's keyboard map: positions and symbols of its keys. Groups are the layouts
/// that the user switches between, counted from 0. Not bound to a thread.
class KeyboardMap {
public:
    /// Reads the map of the core keyboard; empty when the server has none or is gone. Takes several
    /// round trips, a few milliseconds.
    [[nodiscard]] static std::optional<KeyboardMap> read(const XcbConnection& connection);

    [[nodiscard]] const KeyPosition& position(xcb_keycode_t keycode) const {
        return m_keys[keycode].position;
    }
    /// What the key types in this group without modifiers, or in the first group with Latin letters
    /// if this one has none, or on a US keyboard if no group has. Empty for keys that type nothing
    /// visible.
    [[nodiscard]] QString characters(xcb_keycode_t keycode, int group) const;
    /// The key's symbol in the group without modifiers; XKB_KEY_NoSymbol for none.
    [[nodiscard]] xkb_keysym_t symbol(xcb_keycode_t keycode, int group) const {
        return ofGroup(m_keys[keycode].unshifted, group);
    }
    /// The key that types this symbol in the group, without modifiers or with Shift alone; the
    /// keypad is left out.
    [[nodiscard]] std::optional<xcb_keycode_t> keyTyping(xkb_keysym_t symbol, int group,
                                                         bool shifted = false) const;
    /// The key with this symbol on its first level in the group or else in any other.
    [[nodiscard]] std::optional<xcb_keycode_t> keyForShortcut(xkb_keysym_t symbol, int group) const;
    /// The first key whose position has this virtual key code.
    [[nodiscard]] std::optional<xcb_keycode_t> keyAt(qint64 virtualKeyCode) const;
    /// Removes a key's symbols from this copy.
    void forget(xcb_keycode_t keycode) { m_keys[keycode] = {}; }
    /// Key codes without any symbol, which nothing on the keyboard uses.
    [[nodiscard]] std::vector<xcb_keycode_t> unusedKeycodes() const;

private:
    struct Key {
        QByteArray name;
        KeyPosition position;
        std::vector<xkb_keysym_t> unshifted; ///< by group
        std::vector<xkb_keysym_t> shifted;   ///< by group
        bool hasSymbols = false;
    };

    KeyboardMap() = default;
    void readKey(xkb_keymap* keymap, xcb_keycode_t keycode);
    [[nodiscard]] static xkb_keysym_t ofGroup(const std::vector<xkb_keysym_t>& symbols, int group);

    std::array<Key, 256> m_keys;
    xcb_keycode_t m_first = 8;
    xcb_keycode_t m_last = 255;
    std::vector<bool> m_isLatin; ///< by group
};

/// The XKB extension on a connection: which group is active, and when to read the map again.
class KeyboardWatch {
public:
    /// Selects the events. Without the extension nothing is ever reported.
    explicit KeyboardWatch(const XcbConnection& connection);

    /// Predicate for changes of a single key's symbols that are our own: they do not mark the map
    /// as changed.
    std::function<bool(xcb_keycode_t)> isOwnChange;

    /// Handles an event of the connection; false when it is not a keyboard map event.
    bool handle(const xcb_generic_event_t& event);
    [[nodiscard]] int group() const { return m_group; }
    [[nodiscard]] bool isCapsLocked() const { return m_capsLocked; }
    /// Reads the map into `map` if it has changed since it was last read; true when it did. If the
    /// map changes while it is read, `map` stays as it was and the next call tries again.
    bool update(std::optional<KeyboardMap>& map);
    /// Reads the current state from the server: one round trip.
    void refresh();

private:
    const XcbConnection& m_connection;
    quint8 m_firstEvent = 0;
    int m_group = 0;
    bool m_capsLocked = false;
    bool m_mapChanged = true;
};

} // namespace murlo
