#include "platform/linux/x11/keys/KeyboardGrab.h"

#include <algorithm>

namespace murlo {

bool KeyboardGrab::begin(xcb_input_device_id_t device, const KeySet& down) {
    m_finishing = false;
    Taken& keyboard = m_taken[device];
    if (keyboard.from && keyboard.until == open) return true;
    // During a grab, raw events are delivered only through the grab's own event mask.
    const quint32 mask =
        XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_KEY_RELEASE;
    const auto cookie = xcb_input_xi_grab_device(
        m_connection, m_connection.root(), XCB_CURRENT_TIME, XCB_CURSOR_NONE, device,
        XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_MODE_22_ASYNC, XCB_INPUT_GRAB_OWNER_NO_OWNER,
        1, &mask);
    const auto reply = m_connection.reply(xcb_input_xi_grab_device_reply, cookie);
    if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS) return false;
    keyboard = {cookie.sequence, open, down & ~keyboard.passed, keyboard.passed, {}};
    return true;
}

void KeyboardGrab::finish() {
    m_finishing = true;
    const bool done = std::all_of(m_taken.begin(), m_taken.end(), [](const auto& keyboard) {
        return keyboard.second.swallowed.none();
    });
    if (done) end();
}

void KeyboardGrab::end() {
    m_finishing = false;
    for (auto& [device, keyboard] : m_taken) {
        if (!keyboard.from || keyboard.until != open) continue;
        keyboard.until =
            xcb_input_xi_ungrab_device(m_connection, XCB_CURRENT_TIME, device).sequence;
        keyboard.seen.reset(); // the keyboard delivers their releases itself again
        keyboard.swallowed.reset();
    }
    xcb_flush(m_connection);
}

void KeyboardGrab::forget(xcb_input_device_id_t device) {
    const auto found = m_taken.find(device);
    if (found == m_taken.end()) return;
    const KeySet down = found->second.passed | found->second.seen;
    for (std::size_t keycode = 0; keycode < down.size(); ++keycode) {
        if (down[keycode]) post(static_cast<xcb_keycode_t>(keycode), false);
    }
    m_taken.erase(found);
    if (m_finishing) finish();
}

bool KeyboardGrab::holds(const KeyMove& key) const {
    const auto found = m_taken.find(key.device);
    return found != m_taken.end() && found->second.from && key.sequence >= found->second.from &&
           key.sequence < found->second.until;
}

void KeyboardGrab::pass(const KeyMove& key) {
    const auto found = m_taken.find(key.device);
    if (found == m_taken.end()) return;
    if (holds(key)) {
        found->second.passed.set(key.keycode);
        post(key.keycode, true);
    } else if (found->second.until == open) {
        found->second.seen.set(key.keycode); // pressed before the keyboard was grabbed
    }
}

void KeyboardGrab::release(const KeyMove& key) {
    const auto found = m_taken.find(key.device);
    if (found == m_taken.end()) return;
    Taken& keyboard = found->second;
    // Applications do not see a release during the grab, so it is posted; a posted press always
    // needs a posted release.
    if (keyboard.passed[key.keycode] || (keyboard.seen[key.keycode] && holds(key)))
        post(key.keycode, false);
    for (KeySet* keys : {&keyboard.seen, &keyboard.passed, &keyboard.swallowed})
        keys->reset(key.keycode);
    if (m_finishing) finish();
}

void KeyboardGrab::post(xcb_keycode_t keycode, bool press) {
    m_synthetic.post(m_connection, keycode, press);
    xcb_flush(m_connection);
}

} // namespace murlo
