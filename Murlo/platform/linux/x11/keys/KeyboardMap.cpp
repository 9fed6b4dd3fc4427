#include "platform/linux/x11/keys/KeyboardMap.h"

#include <algorithm>
#include <xkbcommon/xkbcommon-keysyms.h>
#include <xkbcommon/xkbcommon-x11.h>

namespace murlo {

namespace {

struct XkbDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};

/// The family of a modifier key that has no position of its own, such as Caps Lock used as Control.
quint32 familyOf(xkb_keysym_t symbol) {
    switch (symbol) {
    case XKB_KEY_Shift_L:
    case XKB_KEY_Shift_R:
        return ModifierFlag::shift;
    case XKB_KEY_Control_L:
    case XKB_KEY_Control_R:
        return ModifierFlag::control;
    case XKB_KEY_Alt_L:
    case XKB_KEY_Alt_R:
    case XKB_KEY_ISO_Level3_Shift:
        return ModifierFlag::option;
    case XKB_KEY_Super_L:
    case XKB_KEY_Super_R:
        return ModifierFlag::command;
    default:
        return 0;
    }
}

bool isOfKeypad(const QByteArray& name) {
    return name.startsWith("KP");
}

} // namespace

std::optional<KeyboardMap> KeyboardMap::read(const XcbConnection& connection) {
    if (!connection.isAlive()) return std::nullopt;
    const std::unique_ptr<xkb_context, XkbDeleter> context(
        xkb_context_new(static_cast<xkb_context_flags>(XKB_CONTEXT_NO_DEFAULT_INCLUDES |
                                                       XKB_CONTEXT_NO_ENVIRONMENT_NAMES)));
    const int device = xkb_x11_get_core_keyboard_device_id(connection);
    if (!context || device < 0) return std::nullopt;
    const std::unique_ptr<xkb_keymap, XkbDeleter> keymap(xkb_x11_keymap_new_from_device(
        context.get(), connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap) return std::nullopt;

    KeyboardMap map;
    map.m_first = static_cast<xcb_keycode_t>(xkb_keymap_min_keycode(keymap.get()));
    map.m_last = static_cast<xcb_keycode_t>(
        std::min<xkb_keycode_t>(xkb_keymap_max_keycode(keymap.get()), 255));
    for (int keycode = map.m_first; keycode <= map.m_last; ++keycode)
        map.readKey(keymap.get(), static_cast<xcb_keycode_t>(keycode));

    const auto groups = static_cast<int>(xkb_keymap_num_layouts(keymap.get()));
    for (int group = 0; group < groups; ++group) {
        int letters = 0;
        for (xkb_keysym_t letter = XKB_KEY_a; letter <= XKB_KEY_z; ++letter)
            letters += map.keyTyping(letter, group).has_value();
        map.m_isLatin.push_back(letters >= 20); // some Latin layouts lack a few letters
    }
    return map;
}

void KeyboardMap::readKey(xkb_keymap* keymap, xcb_keycode_t keycode) {
    Key& key = m_keys[keycode];
    if (const char* name = xkb_keymap_key_get_name(keymap, keycode)) key.name = name;
    key.position = keyPosition(key.name);
    const xkb_layout_index_t groups = xkb_keymap_num_layouts_for_key(keymap, keycode);
    const xkb_mod_mask_t shift = 1U << xkb_keymap_mod_get_index(keymap, XKB_MOD_NAME_SHIFT);
    for (xkb_layout_index_t group = 0; group < groups; ++group) {
        key.unshifted.push_back(XKB_KEY_NoSymbol);
        key.shifted.push_back(XKB_KEY_NoSymbol);
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap, keycode, group);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t* symbols = nullptr;
            const int count =
                xkb_keymap_key_get_syms_by_level(keymap, keycode, group, level, &symbols);
            key.hasSymbols |= count > 0;
            if (count != 1) continue;
            if (level == 0) key.unshifted.back() = symbols[0];
            std::array<xkb_mod_mask_t, 16> masks{};
            const std::size_t known = xkb_keymap_key_get_mods_for_level(
                keymap, keycode, group, level, masks.data(), masks.size());
            if (std::find(masks.begin(), masks.begin() + known, shift) != masks.begin() + known)
                key.shifted.back() = symbols[0];
        }
    }
    // Fall back to the symbol only where the position does not tell left from right.
    if (key.unshifted.empty() || key.position.sideFlag) return;
    if (const quint32 family = familyOf(key.unshifted.front())) {
        key.position.familyFlag = family;
        key.position.isModifier = true;
    }
}

xkb_keysym_t KeyboardMap::ofGroup(const std::vector<xkb_keysym_t>& symbols, int group) {
    if (symbols.empty()) return XKB_KEY_NoSymbol;
    // A key with fewer groups than the keyboard wraps around, as the server does by default.
    return symbols[static_cast<std::size_t>(group) % symbols.size()];
}

QString KeyboardMap::characters(xcb_keycode_t keycode, int group) const {
    const Key& key = m_keys[keycode];
    const auto latin = std::find(m_isLatin.begin(), m_isLatin.end(), true);
    const auto index = static_cast<std::size_t>(group);
    if (index >= m_isLatin.size() || !m_isLatin[index]) {
        if (latin == m_isLatin.end()) {
            const char us = usCharacter(key.name);
            return us ? QString(QLatin1Char(us)) : QString();
        }
        group = static_cast<int>(latin - m_isLatin.begin());
    }
    const char32_t character = xkb_keysym_to_utf32(ofGroup(key.unshifted, group));
    return character < 0x20 || character == 0x7f ? QString() : QString::fromUcs4(&character, 1);
}

std::optional<xcb_keycode_t> KeyboardMap::keyTyping(xkb_keysym_t wanted, int group,
                                                    bool shifted) const {
    for (int keycode = m_first; keycode <= m_last; ++keycode) {
        const Key& key = m_keys[static_cast<std::size_t>(keycode)];
        if (!isOfKeypad(key.name) &&
            ofGroup(shifted ? key.shifted : key.unshifted, group) == wanted)
            return static_cast<xcb_keycode_t>(keycode);
    }
    return std::nullopt;
}

std::optional<xcb_keycode_t> KeyboardMap::keyForShortcut(xkb_keysym_t wanted, int group) const {
    if (const auto key = keyTyping(wanted, group)) return key;
    for (std::size_t other = 0; other < m_isLatin.size(); ++other) {
        if (const auto key = keyTyping(wanted, static_cast<int>(other))) return key;
    }
    return std::nullopt;
}

std::optional<xcb_keycode_t> KeyboardMap::keyAt(qint64 virtualKeyCode) const {
    for (int keycode = m_first; keycode <= m_last; ++keycode) {
        if (m_keys[static_cast<std::size_t>(keycode)].position.keyCode == virtualKeyCode)
            return static_cast<xcb_keycode_t>(keycode);
    }
    return std::nullopt;
}

std::vector<xcb_keycode_t> KeyboardMap::unusedKeycodes() const {
    std::vector<xcb_keycode_t> unused;
    for (int keycode = m_first; keycode <= m_last; ++keycode) {
        if (!m_keys[static_cast<std::size_t>(keycode)].hasSymbols)
            unused.push_back(static_cast<xcb_keycode_t>(keycode));
    }
    return unused;
}

KeyboardWatch::KeyboardWatch(const XcbConnection& connection)
    : m_connection(connection) {
    if (!connection.isAlive() ||
        !xkb_x11_setup_xkb_extension(
            connection, XKB_X11_MIN_MAJOR_XKB_VERSION, XKB_X11_MIN_MINOR_XKB_VERSION,
            XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr, nullptr, &m_firstEvent, nullptr))
        return;
    constexpr quint16 events =
        XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY;
    constexpr quint16 parts =
        XCB_XKB_MAP_PART_KEY_TYPES | XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events_details_t details{};
    details.affectState = details.stateDetails =
        XCB_XKB_STATE_PART_GROUP_STATE | XCB_XKB_STATE_PART_MODIFIER_LOCK;
    xcb_xkb_select_events_aux(connection, XCB_XKB_ID_USE_CORE_KBD,
                              events | XCB_XKB_EVENT_TYPE_STATE_NOTIFY, 0, events, parts, parts,
                              &details);
    refresh();
}

void KeyboardWatch::refresh() {
    if (!m_firstEvent) return;
    const auto state = m_connection.reply(xcb_xkb_get_state_reply,
                                          xcb_xkb_get_state(m_connection, XCB_XKB_ID_USE_CORE_KBD));
    if (!state) return;
    m_group = state->group;
    m_capsLocked = state->lockedMods & XCB_MOD_MASK_LOCK;
}

bool KeyboardWatch::update(std::optional<KeyboardMap>& map) {
    if (!m_mapChanged) return false;
    auto read = KeyboardMap::read(m_connection);
    if (!read) return false;
    map = std::move(read);
    m_mapChanged = false;
    return true;
}

bool KeyboardWatch::handle(const xcb_generic_event_t& event) {
    const int type = event.response_type & 0x7f;
    if (type == XCB_MAPPING_NOTIFY) return true; // the XKB event has the details
    if (!m_firstEvent || type != m_firstEvent) return false;
    switch (event.pad0) { // the XKB event type
    case XCB_XKB_STATE_NOTIFY: {
        const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
        m_group = state.group;
        m_capsLocked = state.lockedMods & XCB_MOD_MASK_LOCK;
        break;
    }
    case XCB_XKB_MAP_NOTIFY: {
        const auto& change = reinterpret_cast<const xcb_xkb_map_notify_event_t&>(event);
        constexpr int symbolsAndActions = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_KEY_ACTIONS;
        const bool ofOneKey = !(change.changed & ~symbolsAndActions) && change.nKeySyms == 1;
        if (!ofOneKey || !isOwnChange || !isOwnChange(change.firstKeySym)) m_mapChanged = true;
        break;
    }
    case XCB_XKB_NEW_KEYBOARD_NOTIFY:
        m_mapChanged = true;
        break;
    default:
        break;
    }
    return true;
}

} // namespace murlo
