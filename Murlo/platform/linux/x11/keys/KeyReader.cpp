#include "platform/linux/x11/keys/KeyReader.h"

#include "support/Log.h"

#include <algorithm>
#include <poll.h>

namespace murlo {

KeyReader::KeyReader(std::shared_ptr<SyntheticKeys> synthetic, std::shared_ptr<KeyMailbox> mailbox)
    : m_synthetic(std::move(synthetic))
    , m_mailbox(std::move(mailbox))
    , m_usable(InputDevices::prepare(m_connection))
    , m_watch(m_connection)
    , m_grab(m_connection, *m_synthetic) {
    if (!m_usable) return;
    InputDevices::selectRawKeys(m_connection, true);
    updateMap();
    m_usable = m_map.has_value();
    readKeyboards();
}

KeyReader::~KeyReader() {
    m_stop = true;
    m_bell.ring();
    if (m_thread.joinable()) m_thread.join();
}

void KeyReader::start() {
    m_running = true;
    m_thread = std::thread([this] { run(); });
}

void KeyReader::setFiltering(bool filtering) {
    m_filteringWanted = filtering;
    m_bell.ring();
}

void KeyReader::refresh() {
    m_refreshWanted = true;
    m_bell.ring();
}

void KeyReader::run() {
    while (!m_stop && m_connection.isAlive()) {
        carryOutRequests();
        while (const auto event = m_connection.nextEvent()) {
            handle(*event);
            carryOutRequests();
        }
        xcb_flush(m_connection);
        pollfd sources[] = {{m_connection.descriptor(), POLLIN, 0},
                            {m_bell.descriptor(), POLLIN, 0}};
        poll(sources, 2, untilGivenBack());
        m_bell.silence();
    }
    m_grab.end();
    if (m_stop) return;
    m_running = false;
    Log::write(QStringLiteral("hotkey: the connection to the display is lost"));
    m_mailbox->post({TapDisabled{}});
}

void KeyReader::carryOutRequests() {
    if (m_refreshWanted.exchange(false)) {
        m_watch.refresh();
        readKeyboards();
    }
    const bool wanted = m_filteringWanted;
    if (wanted == m_filtering) return;
    m_filtering = wanted;
    m_giveBack.reset();
    if (wanted) {
        takeKeyboards();
        return;
    }
    m_grab.finish();
    if (m_grab.isFinishing()) m_giveBack = std::chrono::steady_clock::now() + releaseLimit;
}

int KeyReader::untilGivenBack() {
    if (!m_giveBack) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(
        *m_giveBack - std::chrono::steady_clock::now());
    if (left.count() > 0) return static_cast<int>(left.count());
    m_giveBack.reset();
    if (m_grab.isFinishing()) {
        Log::write(QStringLiteral("hotkey: a key that was not released keeps no keyboard"));
        m_grab.end();
    }
    return -1;
}

void KeyReader::takeKeyboards() {
    for (const auto& [device, keyboard] : m_keyboards) {
        if (keyboard.isSynthetic || m_grab.begin(device, keyboard.down)) continue;
        // The other program gets its keys first, and applications also get those that pick a
        // letter.
        Log::write(
            QStringLiteral("hotkey: another program holds keyboard %1, its keys are not filtered")
                .arg(device));
    }
}

void KeyReader::handle(const xcb_generic_event_t& event) {
    if (m_watch.handle(event)) return;
    switch (InputDevices::eventType(m_connection, event)) {
    case XCB_INPUT_RAW_KEY_PRESS:
    case XCB_INPUT_RAW_KEY_RELEASE: {
        const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
        // Every key is reported twice: by the keyboard and by the master it is attached to.
        if (key.deviceid == key.sourceid && key.detail < 256)
            handleKey(key, key.event_type == XCB_INPUT_RAW_KEY_PRESS);
        break;
    }
    case XCB_INPUT_HIERARCHY:
        hierarchyChanged(reinterpret_cast<const xcb_input_hierarchy_event_t&>(event));
        break;
    default:
        break;
    }
}

void KeyReader::handleKey(const xcb_input_raw_key_press_event_t& key, bool press) {
    const auto keycode = static_cast<xcb_keycode_t>(key.detail);
    const auto known = m_keyboards.find(key.deviceid);
    if (known == m_keyboards.end()) return; // its hierarchy event has not arrived yet
    Keyboard& keyboard = known->second;
    m_time += static_cast<qint32>(key.time - static_cast<quint32>(m_time));
    if (keyboard.isSynthetic && m_synthetic->take(keycode, press)) return;
    if (keyboard.down[keycode] == press) return; // a repeat
    keyboard.down[keycode] = press;
    updateMap();

    const KeyMove move{key.deviceid, keycode, key.full_sequence};
    const KeyPosition position = m_map->position(keycode);
    if (!press) m_grab.release(move);
    if (position.isModifier) {
        if (press) m_grab.pass(move);
        report(position);
    } else if (press) {
        offer(move);
    }
}

void KeyReader::offer(const KeyMove& key) {
    const KeyPress press{m_map->position(key.keycode).keyCode,
                         m_map->characters(key.keycode, m_watch.group()), m_time};
    if (!m_grab.isFiltering(key)) {
        m_mailbox->post({press});
        m_grab.pass(key);
        return;
    }
    const std::optional<bool> swallow = m_mailbox->ask(press, answerLimit);
    if (swallow.value_or(false)) {
        m_grab.swallow(key);
        return;
    }
    m_grab.pass(key);
    if (swallow || m_stop) return;
    Log::write(QStringLiteral("hotkey: no answer in time, keys are no longer filtered"));
    m_filteringWanted = false;
    m_mailbox->post({TapDisabled{}});
}

void KeyReader::report(const KeyPosition& modifier) {
    m_mailbox->post({ModifierChange{modifier.keyCode, flags(), m_time}});
}

quint32 KeyReader::flags() const {
    quint32 all = m_watch.isCapsLocked() ? ModifierFlag::capsLock : 0;
    for (const xcb_keycode_t keycode : m_modifiers) {
        const KeyPosition& position = m_map->position(keycode);
        for (const auto& [device, keyboard] : m_keyboards) {
            if (keyboard.down[keycode]) all |= position.sideFlag | position.familyFlag;
        }
    }
    return all;
}

void KeyReader::updateMap() {
    if (!m_watch.update(m_map)) return;
    m_modifiers.clear();
    for (int keycode = 0; keycode < 256; ++keycode) {
        if (m_map->position(static_cast<xcb_keycode_t>(keycode)).isModifier)
            m_modifiers.push_back(static_cast<xcb_keycode_t>(keycode));
    }
}

void KeyReader::hierarchyChanged(const xcb_input_hierarchy_event_t& event) {
    constexpr quint32 renewed =
        XCB_INPUT_HIERARCHY_MASK_SLAVE_ADDED | XCB_INPUT_HIERARCHY_MASK_SLAVE_REMOVED |
        XCB_INPUT_HIERARCHY_MASK_DEVICE_ENABLED | XCB_INPUT_HIERARCHY_MASK_DEVICE_DISABLED;
    const auto* infos = xcb_input_hierarchy_infos(&event);
    for (int i = 0; i < xcb_input_hierarchy_infos_length(&event); ++i)
        if (infos[i].flags & renewed) forgetKeyboard(infos[i].deviceid);
    readKeyboards();
}

void KeyReader::forgetKeyboard(xcb_input_device_id_t device) {
    const auto known = m_keyboards.find(device);
    if (known == m_keyboards.end()) return;
    // Report the modifiers whose release was not seen (another console, an unplugged keyboard).
    const KeySet down = known->second.down;
    m_keyboards.erase(known);
    for (std::size_t keycode = 0; keycode < down.size(); ++keycode) {
        const KeyPosition& position = m_map->position(static_cast<xcb_keycode_t>(keycode));
        if (down[keycode] && position.isModifier) report(position);
    }
    m_grab.forget(device);
}

void KeyReader::readKeyboards() {
    const std::vector<SlaveKeyboard> present = InputDevices::keyboards(m_connection);
    std::vector<xcb_input_device_id_t> gone;
    for (const auto& [device, keyboard] : m_keyboards) {
        const bool there = std::ranges::any_of(
            present, [id = device](const SlaveKeyboard& slave) { return slave.id == id; });
        if (!there) gone.push_back(device);
    }
    for (const xcb_input_device_id_t device : gone) forgetKeyboard(device);
    for (const SlaveKeyboard& slave : present) {
        // The state of a known keyboard comes from events: the server's reply may include keys
        // whose events are still queued, and keys that we have posted ourselves.
        if (m_keyboards.contains(slave.id)) continue;
        KeySet down = InputDevices::keysDown(m_connection, slave.id);
        if (slave.isSynthetic) down &= ~m_synthetic->down();
        m_keyboards[slave.id] = {slave.isSynthetic, down};
    }
    if (m_filtering) takeKeyboards(); // filter new keyboards as well
}

} // namespace murlo
