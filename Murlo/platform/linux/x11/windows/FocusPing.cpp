#include "platform/linux/x11/windows/FocusPing.h"

#include <algorithm>

namespace murlo {

namespace {

/// Distinguishes our pings from the window manager's, which carry a timestamp there.
constexpr quint32 mark = 0x4d000000;

} // namespace

bool FocusPing::send(quint32 number) {
    if (const xcb_window_t focus = m_windows.focused(); focus != m_focus) {
        m_focus = focus;
        m_target =
            m_windows.outwards(focus, [this](xcb_window_t window) { return isAnswering(window); });
    }
    if (m_target == XCB_WINDOW_NONE) return false;
    const auto listen = [this](quint32 mask) {
        xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &mask);
    };
    if (!std::exchange(m_listening, true)) listen(XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY);
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = m_target;
    message.type = m_connection.atom(QStringLiteral("WM_PROTOCOLS"));
    message.data.data32[0] = m_connection.atom(QStringLiteral("_NET_WM_PING"));
    message.data.data32[1] = mark | (number & 0xffffff);
    message.data.data32[2] = m_target;
    xcb_send_event(m_connection, 0, m_target, 0, reinterpret_cast<const char*>(&message));
    xcb_flush(m_connection);
    return true;
}

std::optional<quint32> FocusPing::answered(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7f) != XCB_CLIENT_MESSAGE) return std::nullopt;
    const auto& message = reinterpret_cast<const xcb_client_message_event_t&>(event);
    if (message.window != m_connection.root() ||
        message.data.data32[0] != m_connection.atom(QStringLiteral("_NET_WM_PING")) ||
        (message.data.data32[1] & 0xff000000) != mark)
        return std::nullopt;
    return message.data.data32[1] & 0xffffff;
}

void FocusPing::stop() {
    m_focus = XCB_WINDOW_NONE; // read its protocols again next time
    if (!std::exchange(m_listening, false)) return;
    const quint32 nothing = 0;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &nothing);
    xcb_flush(m_connection);
}

std::optional<qint64> FocusPing::focusedPid() const {
    std::optional<qint64> pid;
    std::ignore = m_windows.outwards(m_focus, [&](xcb_window_t window) {
        pid = m_windows.pidOf(window);
        return pid.has_value();
    });
    return pid;
}

bool FocusPing::isAnswering(xcb_window_t window) const {
    const xcb_atom_t protocols = m_connection.atom(QStringLiteral("WM_PROTOCOLS"));
    const auto known = m_connection.property(window, protocols, XCB_ATOM_ATOM).numbers();
    return std::ranges::find(known, m_connection.atom(QStringLiteral("_NET_WM_PING"))) !=
           known.end();
}

} // namespace murlo
