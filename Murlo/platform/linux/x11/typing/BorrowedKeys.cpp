#include "platform/linux/x11/typing/BorrowedKeys.h"

#include <algorithm>

namespace murlo {

namespace {

/// Root window property that lists the borrowed codes, so that the next run can free them after a
/// crash.
QString borrowedProperty() {
    return QStringLiteral("_MURLO_BORROWED_KEYS");
}

} // namespace

void BorrowedKeys::adopt(KeyboardMap& map) {
    const auto before = std::exchange(m_keys, {});
    for (const xcb_keycode_t keycode : map.unusedKeycodes()) m_keys[keycode] = {};
    for (const auto& [keycode, use] : before) {
        if (use.symbol != XKB_KEY_NoSymbol && map.symbol(keycode, 0) == use.symbol)
            m_keys[keycode] = use;
    }
    if (!m_borrowing) adoptLeftovers();
    m_neutral = keyOf(XKB_KEY_NoSymbol);
    if (m_neutral) {
        m_keys.erase(*m_neutral);
        map.forget(*m_neutral);
    }
    for (const auto& [keycode, use] : m_keys) map.forget(keycode);
}

void BorrowedKeys::adoptLeftovers() {
    const auto left = m_connection.property(
        m_connection.root(), m_connection.atom(borrowedProperty()), XCB_ATOM_CARDINAL);
    if (left.bits() != 8) return;
    // Their present symbols do not matter: they will be cleared.
    for (const char code : left.bytes())
        m_keys[static_cast<xcb_keycode_t>(code)].symbol = XKB_KEY_VoidSymbol;
    m_borrowing = true;
}

bool BorrowedKeys::map(const std::vector<xkb_keysym_t>& symbols, quint64 batch, quint64 taken) {
    std::vector<xkb_keysym_t> missing;
    std::vector<std::pair<quint64, xcb_keycode_t>> free;
    const auto isWanted = [&](xkb_keysym_t symbol) {
        return std::find(symbols.begin(), symbols.end(), symbol) != symbols.end();
    };
    for (const xkb_keysym_t symbol : symbols) {
        if (!keyOf(symbol) && std::find(missing.begin(), missing.end(), symbol) == missing.end())
            missing.push_back(symbol);
    }
    for (const auto& [keycode, use] : m_keys) {
        if (use.batch <= taken && !isWanted(use.symbol)) free.emplace_back(use.batch, keycode);
    }
    if (free.size() < missing.size()) return false;
    std::sort(free.begin(), free.end()); // least recently used first
    for (std::size_t i = 0; i < missing.size(); ++i) change(free[i].second, missing[i]);
    for (auto& [keycode, use] : m_keys) {
        if (use.symbol != XKB_KEY_NoSymbol && isWanted(use.symbol)) use.batch = batch;
    }
    if (!missing.empty() && !std::exchange(m_borrowing, true)) remember();
    return true;
}

std::optional<xcb_keycode_t> BorrowedKeys::keyOf(xkb_keysym_t symbol) const {
    for (const auto& [keycode, use] : m_keys) {
        if (use.symbol == symbol) return keycode;
    }
    return std::nullopt;
}

void BorrowedKeys::change(xcb_keycode_t keycode, xkb_keysym_t symbol) {
    // The same symbol with and without Shift: otherwise the server guesses an alphabetic key type
    // and changes the case of letters.
    const xkb_keysym_t symbols[] = {symbol, symbol};
    xcb_change_keyboard_mapping(m_connection, 1, keycode, 2, symbols);
    m_keys[keycode].symbol = symbol;
}

void BorrowedKeys::remember() {
    std::vector<xcb_keycode_t> codes;
    for (const auto& [keycode, use] : m_keys) codes.push_back(keycode);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_connection.root(),
                        m_connection.atom(borrowedProperty()), XCB_ATOM_CARDINAL, 8,
                        static_cast<quint32>(codes.size()), codes.data());
}

void BorrowedKeys::giveBack() {
    if (!std::exchange(m_borrowing, false)) return;
    for (auto& [keycode, use] : m_keys) {
        if (use.symbol != XKB_KEY_NoSymbol) change(keycode, XKB_KEY_NoSymbol);
    }
    xcb_delete_property(m_connection, m_connection.root(), m_connection.atom(borrowedProperty()));
    xcb_flush(m_connection);
}

} // namespace murlo
