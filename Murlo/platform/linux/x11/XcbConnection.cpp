#include "platform/linux/x11/XcbConnection.h"

namespace murlo {

XcbConnection::XcbConnection() {
    int number = 0;
    m_connection = xcb_connect(nullptr, &number);
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
