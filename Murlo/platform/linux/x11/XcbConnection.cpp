#include "platform/linux/x11/XcbConnection.h"

#include <mutex>

namespace murlo {

xcb_connection_t* connectToDisplay(int* screen) {
    // The library that looks up the display's key keeps the file's name in a static buffer.
    static std::mutex oneAtATime;
    const std::lock_guard guard(oneAtATime);
    return xcb_connect(nullptr, screen);
}

XcbConnection::XcbConnection() {
    int number = 0;
    m_connection = connectToDisplay(&number);
    if (!isAlive()) return;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (; number > 0 && screens.rem > 1; --number) xcb_screen_next(&screens);
    m_root = screens.data->root;
}

void XcbConnection::sync() const {
    (void)reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection));
}

XcbPointer<xcb_generic_event_t> XcbConnection::nextEvent() const {
    while (XcbPointer<xcb_generic_event_t> event{xcb_poll_for_event(m_connection)}) {
        if (event->response_type != 0) return event;
    }
    return nullptr;
}

} // namespace murlo
