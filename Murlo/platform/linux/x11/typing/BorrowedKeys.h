#pragma once

#include "platform/linux/x11/keys/KeyboardMap.h"

#include <map>
#include <optional>
#include <vector>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon.h>

namespace murlo {

/// Key codes that no key uses, given symbols for a while: this types any character in any layout. A
/// program looks up a key's symbol only when it processes the event, so a code must keep its symbol
/// until the events posted with it are taken: the least recently used codes are reused first, and
/// none before its last batch counts as taken. Main thread.
class BorrowedKeys {
public:
    explicit BorrowedKeys(const XcbConnection& connection)
        : m_connection(connection) {}

    /// Takes the codes to borrow from: those without symbols in this map, those that still have the
    /// symbol given to them here, and those that a crashed run left borrowed. Call it with every
    /// new map, which then shows them without symbols.
    void adopt(KeyboardMap& map);

    /// Maps as many codes as these symbols still need, for events of this batch. False, with
    /// nothing changed, when too few codes are free: batches after `taken` may not have been
    /// processed yet.
    [[nodiscard]] bool map(const std::vector<xkb_keysym_t>& symbols, quint64 batch, quint64 taken);
    /// The code of a mapped symbol.
    [[nodiscard]] std::optional<xcb_keycode_t> keyOf(xkb_keysym_t symbol) const;
    /// A code that never gets a symbol here: a key that does nothing.
    [[nodiscard]] std::optional<xcb_keycode_t> neutral() const { return m_neutral; }
    [[nodiscard]] bool isBorrowing() const { return m_borrowing; }
    [[nodiscard]] bool owns(xcb_keycode_t keycode) const { return m_keys.contains(keycode); }
    /// Removes the symbols from all borrowed codes, which restores the original map.
    void giveBack();

private:
    struct Use {
        xkb_keysym_t symbol = XKB_KEY_NoSymbol;
        quint64 batch = 0; ///< last batch that used it
    };

    void change(xcb_keycode_t keycode, xkb_keysym_t symbol);
    void remember();
    void adoptLeftovers();

    const XcbConnection& m_connection;
    std::map<xcb_keycode_t, Use> m_keys;
    std::optional<xcb_keycode_t> m_neutral;
    bool m_borrowing = false;
};

} // namespace murlo
