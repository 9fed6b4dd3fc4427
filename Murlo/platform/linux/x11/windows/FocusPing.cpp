#include "platform/linux/x11/windows/FocusPing.h"

#include <algorithm>

namespace murlo {

namespace {

/// Marks our questions among those of the window manager, which puts a time there.
constexpr quint32 mark = 0x4d000000;

} // namespace

bool FocusPing::send(quint32 number) {
    const auto focus =
        m_connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection));
    if (!focus) return false;
    if (focus->focus != m_focus) {
        m_focus = focus->focus;
        m_target = windowWith(m_focus, QStringLiteral("WM_PROTOCOLS"), XCB_ATOM_ATOM,
                              m_atoms.atom(QStringLiteral("_NET_WM_PING")));
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
    message.type = m_atoms.atom(QStringLiteral("WM_PROTOCOLS"));
    message.data.data32[0] = m_atoms.atom(QStringLiteral("_NET_WM_PING"));
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
        message.data.data32[0] != m_atoms.atom(QStringLiteral("_NET_WM_PING")) ||
        (message.data.data32[1] & 0xff000000) != mark)
        return std::nullopt;
    return message.data.data32[1] & 0xffffff;
}

void FocusPing::stop() {
    m_focus = XCB_WINDOW_NONE; // its protocols may be others the next time
    if (!std::exchange(m_listening, false)) return;
    const quint32 nothing = 0;
    xcb_change_window_attributes(m_connection, m_connection.root(), XCB_CW_EVENT_MASK, &nothing);
    xcb_flush(m_connection);
}

std::optional<qint64> FocusPing::focusedPid() {
    const QString name = QStringLiteral("_NET_WM_PID");
    const xcb_window_t window = windowWith(m_focus, name, XCB_ATOM_CARDINAL);
    if (window == XCB_WINDOW_NONE) return std::nullopt;
    const auto pid = property(window, name, XCB_ATOM_CARDINAL);
    return pid.empty() ? std::nullopt : std::optional<qint64>(pid.front());
}

xcb_window_t FocusPing::windowWith(xcb_window_t window, const QString& name, xcb_atom_t type,
                                   quint32 number) {
    // Toolkits may focus a window inside the one that the window manager knows.
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != m_connection.root()) {
        const auto values = property(window, name, type);
        if (number ? std::find(values.begin(), values.end(), number) != values.end()
                   : !values.empty())
            return window;
        const auto tree =
            m_connection.reply(xcb_query_tree_reply, xcb_query_tree(m_connection, window));
        if (!tree) break;
        window = tree->parent;
    }
    return XCB_WINDOW_NONE;
}

std::vector<quint32> FocusPing::property(xcb_window_t window, const QString& name,
                                         xcb_atom_t type) {
    const auto value = m_connection.reply(
        xcb_get_property_reply,
        xcb_get_property(m_connection, 0, window, m_atoms.atom(name), type, 0, 64));
    if (!value || value->format != 32) return {};
    const auto* numbers = static_cast<const quint32*>(xcb_get_property_value(value.get()));
    return {numbers, numbers + value->value_len};
}

} // namespace murlo
