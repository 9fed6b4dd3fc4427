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
    updateMap();
    m_usable = m_map.has_value();
    readKeyboards(true);
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
        readKeyboards(true);
    }
    const bool wanted = m_filteringWanted;
    if (wanted == m_filtering) return;
    m_filtering = wanted;
    if (wanted)
        takeKeyboards();
    else
        m_grab.finish();
}

void KeyReader::takeKeyboards() {
    for (const auto& [device, keyboard] : m_keyboards) {
        if (keyboard.isSynthetic || m_grab.begin(device, keyboard.down)) continue;
        // Whoever has it sees its keys first; hints are then picked by keys that applications get.
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
        // Every key comes twice, from the keyboard and from the master it is attached to.
        if (key.deviceid == key.sourceid && key.detail < 256)
            handleKey(key, key.event_type == XCB_INPUT_RAW_KEY_PRESS);
        break;
    }
    case XCB_INPUT_HIERARCHY:
        readKeyboards(true);
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
                         m_map->characters(key.keycode, m_watch.group())};
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
    m_mailbox->post({ModifierChange{modifier.keyCode, flags()}});
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

void KeyReader::readKeyboards(bool afresh) {
    const auto before = std::exchange(m_keyboards, {});
    for (const SlaveKeyboard& slave : InputDevices::keyboards(m_connection)) {
        const auto known = before.find(slave.id);
        // The server's answer may already hold keys whose events are still to be read: it is asked
        // only for what the events do not tell.
        m_keyboards[slave.id] =
            known != before.end() && !afresh
                ? known->second
                : Keyboard{slave.isSynthetic, InputDevices::keysDown(m_connection, slave.id)};
    }
    // What was let go while nobody told us (another console, an unplugged keyboard) is told now.
    for (const auto& [device, keyboard] : before) {
        const auto now = m_keyboards.find(device);
        const KeySet gone =
            now == m_keyboards.end() ? keyboard.down : keyboard.down & ~now->second.down;
        for (std::size_t keycode = 0; keycode < gone.size(); ++keycode) {
            if (!gone[keycode]) continue;
            const KeyPosition& position = m_map->position(static_cast<xcb_keycode_t>(keycode));
            if (position.isModifier) report(position);
        }
        if (now == m_keyboards.end()) m_grab.forget(device);
    }
    if (m_filtering) takeKeyboards(); // a new one is filtered as well
}

} // namespace murlo
