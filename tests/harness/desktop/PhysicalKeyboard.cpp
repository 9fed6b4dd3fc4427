#include "tests/harness/desktop/PhysicalKeyboard.h"

#include <cstring>
#include <set>

#include <X11/XKBlib.h>
#include <X11/extensions/XInput.h>
#include <X11/extensions/XInput2.h>
#include <X11/extensions/XTest.h>

namespace murlo {

struct PhysicalKeyboard::Server {
    Display* display = XOpenDisplay(nullptr);
    XDevice* device = nullptr;
    std::set<KeyCode> down;

    Server() {
        if (!display) return;
        int count = 0;
        XDeviceInfo* devices = XListInputDevices(display, &count);
        for (int i = 0; i < count && !device; ++i) {
            if (std::strstr(devices[i].name, "Xvfb keyboard"))
                device = XOpenDevice(display, devices[i].id);
        }
        XFreeDeviceList(devices);
    }

    [[nodiscard]] KeyCode keycode(const QByteArray& name) const {
        if (name.isEmpty()) return 0; // some codes have no name
        XkbDescPtr map = XkbGetMap(display, 0, XkbUseCoreKbd);
        XkbGetNames(display, XkbKeyNamesMask, map);
        KeyCode found = 0;
        for (int key = map->min_key_code; key <= map->max_key_code && !found; ++key) {
            if (qstrncmp(name.constData(), map->names->keys[key].name, XkbKeyNameLength) == 0)
                found = static_cast<KeyCode>(key);
        }
        XkbFreeKeyboard(map, 0, True);
        return found;
    }

    void move(KeyCode key, bool press) {
        if (!device || !key) return;
        XTestFakeDeviceKeyEvent(display, device, key, press, nullptr, 0, 0);
        XSync(display, False);
        press ? void(down.insert(key)) : void(down.erase(key));
    }
};

PhysicalKeyboard::PhysicalKeyboard()
    : m_server(std::make_unique<Server>()) {}

PhysicalKeyboard::~PhysicalKeyboard() {
    if (!m_server->display) return;
    for (const KeyCode key : std::set<KeyCode>(m_server->down)) m_server->move(key, false);
    if (m_server->device) XCloseDevice(m_server->display, m_server->device);
    XCloseDisplay(m_server->display);
}

bool PhysicalKeyboard::isThere() const {
    return m_server->device;
}

void PhysicalKeyboard::move(const QByteArray& name, bool down) {
    m_server->move(m_server->keycode(name), down);
}

void PhysicalKeyboard::setPlugged(bool plugged) {
    if (!m_server->device) return;
    unsigned char enabled = plugged ? 1 : 0;
    const Atom property = XInternAtom(m_server->display, "Device Enabled", False);
    const Atom integer = XInternAtom(m_server->display, "INTEGER", False);
    XIChangeProperty(m_server->display, static_cast<int>(m_server->device->device_id), property,
                     integer, 8, XIPropModeReplace, &enabled, 1);
    XSync(m_server->display, False);
    if (!plugged) m_server->down.clear();
}

void PhysicalKeyboard::pressFromProgram(const QByteArray& name, bool down) {
    XTestFakeKeyEvent(m_server->display, m_server->keycode(name), down, 0);
    XSync(m_server->display, False);
}

bool PhysicalKeyboard::isDown(const QByteArray& name) const {
    char keys[32] = {};
    XQueryKeymap(m_server->display, keys);
    const KeyCode key = m_server->keycode(name);
    return key && (keys[key / 8] >> (key % 8) & 1);
}

} // namespace murlo
