#include "platform/linux/x11/typing/ModifierLift.h"

namespace murlo {

namespace {

constexpr quint32 openingMenus = ModifierFlag::option | ModifierFlag::command;

} // namespace

void ModifierLift::lift(const KeyboardMap& map, std::optional<xcb_keycode_t> neutral) {
    m_neutral = neutral;
    const auto stateCookie = xcb_xkb_get_state(m_connection, XCB_XKB_ID_USE_CORE_KBD);
    const auto keysCookie = xcb_query_keymap(m_connection);
    const auto state = m_connection.reply(xcb_xkb_get_state_reply, stateCookie);
    const auto keys = m_connection.reply(xcb_query_keymap_reply, keysCookie);
    if (!state || !keys) return;

    for (int keycode = 8; keycode < 256; ++keycode) {
        if (!(keys->keys[keycode / 8] >> (keycode % 8) & 1)) continue;
        const auto key = static_cast<xcb_keycode_t>(keycode);
        // Caps Lock has no family: whether its key is down makes no difference.
        const quint32 family = map.position(key).familyFlag;
        if (!family) continue;
        if (family & openingMenus) {
            tap(m_neutral);
            m_openingMenus.insert(key);
        }
        m_synthetic.post(m_connection, key, false);
        m_lifted.insert(key);
        m_restored.erase(key);
    }
    // Latched modifiers (sticky keys) are used up by any key and do not come back.
    const auto locks = static_cast<quint8>(state->lockedMods & ~XCB_MOD_MASK_2);
    if (locks || state->latchedMods)
        xcb_xkb_latch_lock_state(m_connection, XCB_XKB_ID_USE_CORE_KBD, locks, 0, 0, 0, 0xff, 0, 0);
    m_locked |= locks;
    xcb_flush(m_connection);
}

void ModifierLift::restore() {
    if (const quint8 locked = std::exchange(m_locked, 0))
        xcb_xkb_latch_lock_state(m_connection, XCB_XKB_ID_USE_CORE_KBD, locked, locked, 0, 0, 0, 0,
                                 0);
    if (const auto lifted = std::exchange(m_lifted, {}); !lifted.empty()) {
        // Select the events first, so that a release between the query and the press is not missed.
        m_restored.insert(lifted.begin(), lifted.end());
        watchReleases();
        const KeySet held = heldOnKeyboards();
        for (const xcb_keycode_t key : lifted) {
            if (held[key]) {
                // The synthetic device may still hold this key down and would then ignore a second
                // press.
                m_synthetic.post(m_connection, key, false);
                m_synthetic.post(m_connection, key, true);
                if (m_openingMenus.contains(key)) tap(m_neutral);
            } else {
                m_restored.erase(key);
            }
        }
        const KeySet after = heldOnKeyboards();
        std::erase_if(m_restored, [&](xcb_keycode_t key) {
            if (!after[key]) m_synthetic.post(m_connection, key, false);
            return !after[key];
        });
        watchReleases();
    }
    m_openingMenus.clear();
    xcb_flush(m_connection);
}

void ModifierLift::handle(const xcb_generic_event_t& event) {
    if (InputDevices::eventType(m_connection, event) != XCB_INPUT_RAW_KEY_RELEASE) return;
    const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
    if (key.deviceid != key.sourceid ||
        !m_restored.contains(static_cast<xcb_keycode_t>(key.detail)))
        return;
    if (heldOnKeyboards()[key.detail]) return; // our own release, or a second keyboard holds it
    m_restored.erase(static_cast<xcb_keycode_t>(key.detail));
    m_synthetic.post(m_connection, static_cast<xcb_keycode_t>(key.detail), false);
    watchReleases();
    xcb_flush(m_connection);
}

KeySet ModifierLift::heldOnKeyboards() const {
    KeySet held;
    for (const SlaveKeyboard& keyboard : InputDevices::keyboards(m_connection)) {
        if (!keyboard.isSynthetic) held |= InputDevices::keysDown(m_connection, keyboard.id);
    }
    return held;
}

void ModifierLift::tap(std::optional<xcb_keycode_t> key) {
    if (!key) return;
    m_synthetic.post(m_connection, *key, true);
    m_synthetic.post(m_connection, *key, false);
}

void ModifierLift::watchReleases() {
    const bool wanted = !m_restored.empty();
    if (wanted != std::exchange(m_watching, wanted))
        InputDevices::selectRawKeys(m_connection, wanted);
}

} // namespace murlo
