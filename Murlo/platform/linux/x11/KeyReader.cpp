#include "platform/linux/x11/KeyReader.h"

#include "support/Log.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace murlo {

KeyReader::KeyReader(std::shared_ptr<SyntheticKeys> synthetic, std::shared_ptr<KeyMailbox> mailbox)
    : m_synthetic(std::move(synthetic))
    , m_mailbox(std::move(mailbox))
    , m_wake(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    , m_usable(InputDevices::prepare(m_connection))
    , m_watch(m_connection)
    , m_grab(m_connection, *m_synthetic) {
    if (!m_usable) return;
    InputDevices::selectRawKeys(m_connection, true);
    readMap();
    m_usable = m_map.has_value();
    readKeyboards();
}

KeyReader::~KeyReader() {
    m_stop = true;
    wake();
    if (m_thread.joinable()) m_thread.join();
    close(m_wake);
}

void KeyReader::start() {
    m_running = true;
    m_thread = std::thread([this] { run(); });
}

void KeyReader::setFiltering(bool filtering) {
    m_filteringWanted = filtering;
    wake();
}

void KeyReader::refresh() {
    m_refreshWanted = true;
    wake();
}

void KeyReader::wake() const {
    eventfd_write(m_wake, 1);
}

void KeyReader::run() {
    while (!m_stop && m_connection.isAlive()) {
        carryOutRequests();
        while (const auto event = m_connection.nextEvent()) {
            handle(*event);
            carryOutRequests();
        }
        xcb_flush(m_connection);
        pollfd sources[] = {{xcb_get_file_descriptor(m_connection), POLLIN, 0},
                            {m_wake, POLLIN, 0}};
        poll(sources, 2, -1);
        eventfd_t count = 0;
        eventfd_read(m_wake, &count);
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
    if (m_filteringWanted == m_grab.isWanted()) return;
    if (m_filteringWanted) {
        for (const auto& [device, keyboard] : m_keyboards) {
            if (!keyboard.isSynthetic) m_grab.begin(device, keyboard.down);
        }
    } else {
        m_grab.endWhenKeysAreUp();
    }
}

void KeyReader::handle(const xcb_generic_event_t& event) {
    if (m_watch.handle(event)) return;
    switch (InputDevices::eventType(m_connection, event)) {
    case XCB_INPUT_RAW_KEY_PRESS:
    case XCB_INPUT_RAW_KEY_RELEASE: {
        const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
        // Every key comes twice, from the keyboard and from the master it is attached to.
        if (key.deviceid == key.sourceid && key.detail < 256)
            handleKey(key, key.event_type == XCB_INPUT_RAW_KEY_PRESS);
        break;
    }
    case XCB_INPUT_HIERARCHY:
        readKeyboards();
        break;
    default:
        break;
    }
}

void KeyReader::handleKey(const xcb_input_raw_key_press_event_t& key, bool press) {
    const auto keycode = static_cast<xcb_keycode_t>(key.detail);
    const auto known = m_keyboards.find(key.deviceid);
    if (known == m_keyboards.end()) return; // told by its hierarchy event, which is still to come
    Keyboard& keyboard = known->second;
    if (keyboard.isSynthetic && m_synthetic->take(keycode, press)) return;
    if (keyboard.down[keycode] == press) return; // a repeat
    keyboard.down[keycode] = press;
    if (m_watch.takeMapChanged()) readMap();

    const KeyPosition position = m_map->position(keycode);
    if (position.isModifier) {
        report(position);
        m_grab.forward(key.deviceid, keycode, press);
    } else if (press) {
        offer(keyboard, key.deviceid, keycode);
    } else {
        m_grab.release(key.deviceid, keycode);
    }
}

void KeyReader::offer(const Keyboard& keyboard, xcb_input_device_id_t device,
                      xcb_keycode_t keycode) {
    const KeyPress press{m_map->position(keycode).keyCode,
                         m_map->characters(keycode, m_watch.group())};
    if (keyboard.isSynthetic || !m_grab.isFiltering(device)) {
        m_mailbox->post({press});
        m_grab.forward(device, keycode, true);
        return;
    }
    const std::optional<bool> swallow = m_mailbox->ask(press, answerLimit);
    if (swallow.value_or(false)) {
        m_grab.swallow(device, keycode);
        return;
    }
    m_grab.forward(device, keycode, true);
    if (swallow || m_stop) return;
    Log::write(QStringLiteral("hotkey: no answer in time, keys are no longer filtered"));
    m_filteringWanted = false;
    m_mailbox->post({TapDisabled{}});
}

void KeyReader::report(const KeyPosition& modifier) {
    m_mailbox->post({ModifierChange{modifier.keyCode, flags()}});
}

quint32 KeyReader::flags() const {
    quint32 all = m_watch.isCapsLocked() ? KeyFlags::capsLock : 0;
    for (const xcb_keycode_t keycode : m_modifiers) {
        const KeyPosition& position = m_map->position(keycode);
        for (const auto& [device, keyboard] : m_keyboards) {
            if (keyboard.down[keycode]) all |= position.sideFlag | position.familyFlag;
        }
    }
    return all;
}

void KeyReader::readMap() {
    // A half-changed map cannot be read: the event of the other half is still to come.
    if (auto map = KeyboardMap::read(m_connection)) m_map = std::move(map);
    if (!m_map) return;
    m_modifiers.clear();
    for (int keycode = 0; keycode < 256; ++keycode) {
        if (m_map->position(static_cast<xcb_keycode_t>(keycode)).isModifier)
            m_modifiers.push_back(static_cast<xcb_keycode_t>(keycode));
    }
}

void KeyReader::readKeyboards() {
    const auto before = std::exchange(m_keyboards, {});
    for (const SlaveKeyboard& slave : InputDevices::keyboards(m_connection))
        m_keyboards[slave.id] = {slave.isSynthetic, InputDevices::keysDown(m_connection, slave.id)};
    // What was let go while nobody told us (another console, an unplugged keyboard) is told now.
    for (const auto& [device, keyboard] : before) {
        for (const xcb_keycode_t keycode : m_modifiers) {
            if (keyboard.down[keycode] && !m_keyboards[device].down[keycode])
                report(m_map->position(keycode));
        }
    }
}

} // namespace murlo
