#include "platform/linux/x11/typing/BorrowedKeys.h"

#include <algorithm>

namespace murlo {

namespace {

/// Root window property with the codes that are borrowed now, for a run that follows a crash.
QString borrowedProperty() {
    return QStringLiteral("_MURLO_BORROWED_KEYS");
}

} // namespace

BorrowedKeys::BorrowedKeys(const XcbConnection& connection)
    : m_connection(connection)
    , m_atoms(connection) {}

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
    if (!m_connection.isAlive()) return;
    const auto left = m_connection.reply(xcb_get_property_reply,
                                         xcb_get_property(m_connection, 0, m_connection.root(),
                                                          m_atoms.atom(borrowedProperty()),
                                                          XCB_ATOM_CARDINAL, 0, 64));
    if (!left || left->format != 8) return;
    const auto* codes = static_cast<const xcb_keycode_t*>(xcb_get_property_value(left.get()));
    for (int i = 0; i < xcb_get_property_value_length(left.get()); ++i)
        m_keys[codes[i]].symbol = XKB_KEY_VoidSymbol; // whatever it is, it goes
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
    std::sort(free.begin(), free.end()); // the longest unused first
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
    // The same symbol with and without Shift, so that the server's guess of a key type leaves a
    // letter's case alone.
    const xkb_keysym_t symbols[] = {symbol, symbol};
    xcb_change_keyboard_mapping(m_connection, 1, keycode, 2, symbols);
    m_keys[keycode].symbol = symbol;
}

void BorrowedKeys::remember() {
    std::vector<xcb_keycode_t> codes;
    for (const auto& [keycode, use] : m_keys) codes.push_back(keycode);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_connection.root(),
                        m_atoms.atom(borrowedProperty()), XCB_ATOM_CARDINAL, 8,
                        static_cast<quint32>(codes.size()), codes.data());
}

void BorrowedKeys::giveBack() {
    if (!std::exchange(m_borrowing, false)) return;
    for (auto& [keycode, use] : m_keys) {
        if (use.symbol != XKB_KEY_NoSymbol) change(keycode, XKB_KEY_NoSymbol);
    }
    xcb_delete_property(m_connection, m_connection.root(), m_atoms.atom(borrowedProperty()));
    xcb_flush(m_connection);
}

} // namespace murlo
