#include "platform/linux/x11/windows/WindowList.h"

#include <QMarginsF>

#include <algorithm>
#include <vector>

namespace murlo {

namespace {

constexpr quint32 everyDesktop = 0xFFFFFFFF;

using Reply = XcbPointer<xcb_get_property_reply_t>;

std::vector<quint32> numbersOf(const Reply& reply) {
    if (!reply || reply->format != 32) return {};
    const auto* values = static_cast<const quint32*>(xcb_get_property_value(reply.get()));
    return {values, values + reply->value_len};
}

bool has(const std::vector<quint32>& values, quint32 wanted) {
    return std::ranges::find(values, wanted) != values.end();
}

/// What a window says of its border, in the order left, right, top, bottom.
QMarginsF marginsOf(const Reply& reply) {
    const auto values = numbersOf(reply);
    if (values.size() < 4) return {};
    return {double(values[0]), double(values[2]), double(values[1]), double(values[3])};
}

/// The questions about one window, on their way together.
class Question {
public:
    Question(const XcbConnection& connection, XcbAtoms& atoms, xcb_window_t window)
        : m_connection(connection)
        , m_atoms(atoms)
        , m_pid(ask(window, "_NET_WM_PID"))
        , m_desktop(ask(window, "_NET_WM_DESKTOP"))
        , m_state(ask(window, "_NET_WM_STATE"))
        , m_type(ask(window, "_NET_WM_WINDOW_TYPE"))
        , m_title(ask(window, "_NET_WM_NAME"))
        , m_frame(ask(window, "_NET_FRAME_EXTENTS"))
        , m_shadow(ask(window, "_GTK_FRAME_EXTENTS"))
        , m_size(xcb_get_geometry(connection, window))
        , m_place(xcb_translate_coordinates(connection, window, connection.root(), 0, 0)) {}

    /// Nothing for a window that the desktop does not show.
    std::optional<WindowInfo> answer(const std::vector<quint32>& currentDesktop) const {
        const auto pid = numbersOf(receive(m_pid));
        const auto desktop = numbersOf(receive(m_desktop));
        const auto state = numbersOf(receive(m_state));
        const auto type = numbersOf(receive(m_type));
        const Reply title = receive(m_title);
        const QMarginsF frame = marginsOf(receive(m_frame));
        const QMarginsF shadow = marginsOf(receive(m_shadow));
        const auto size = m_connection.reply(xcb_get_geometry_reply, m_size);
        const auto place = m_connection.reply(xcb_translate_coordinates_reply, m_place);
        const bool elsewhere = !desktop.empty() && !currentDesktop.empty() &&
                               desktop[0] != everyDesktop && desktop[0] != currentDesktop[0];
        if (pid.empty() || elsewhere || !size || !place || has(state, atom("_NET_WM_STATE_HIDDEN")))
            return std::nullopt;
        WindowInfo window;
        window.pid = pid[0];
        if (title && title->format == 8)
            window.title =
                QString::fromUtf8(static_cast<const char*>(xcb_get_property_value(title.get())),
                                  xcb_get_property_value_length(title.get()));
        window.content =
            QRectF(place->dst_x, place->dst_y, size->width, size->height).marginsRemoved(shadow);
        window.bounds = window.content.marginsAdded(frame);
        window.isDocument = !has(type, atom("_NET_WM_WINDOW_TYPE_DOCK")) &&
                            !has(type, atom("_NET_WM_WINDOW_TYPE_DESKTOP"));
        return window;
    }

private:
    xcb_get_property_cookie_t ask(xcb_window_t window, const char* name) const {
        return xcb_get_property(m_connection, 0, window, atom(name), XCB_GET_PROPERTY_TYPE_ANY, 0,
                                256);
    }
    Reply receive(xcb_get_property_cookie_t cookie) const {
        return m_connection.reply(xcb_get_property_reply, cookie);
    }
    xcb_atom_t atom(const char* name) const { return m_atoms.atom(QLatin1String(name)); }

    const XcbConnection& m_connection;
    XcbAtoms& m_atoms;
    xcb_get_property_cookie_t m_pid;
    xcb_get_property_cookie_t m_desktop;
    xcb_get_property_cookie_t m_state;
    xcb_get_property_cookie_t m_type;
    xcb_get_property_cookie_t m_title;
    xcb_get_property_cookie_t m_frame;
    xcb_get_property_cookie_t m_shadow;
    xcb_get_geometry_cookie_t m_size;
    xcb_translate_coordinates_cookie_t m_place;
};

} // namespace

QList<WindowInfo> readWindowList(const XcbConnection& connection, XcbAtoms& atoms) {
    const auto ofRoot = [&](const char* name) {
        return xcb_get_property(connection, 0, connection.root(), atoms.atom(QLatin1String(name)),
                                XCB_GET_PROPERTY_TYPE_ANY, 0, 4096);
    };
    const auto stack = ofRoot("_NET_CLIENT_LIST_STACKING");
    const auto current = ofRoot("_NET_CURRENT_DESKTOP");
    auto windows = numbersOf(connection.reply(xcb_get_property_reply, stack));
    const auto desktop = numbersOf(connection.reply(xcb_get_property_reply, current));
    std::ranges::reverse(windows); // the list begins at the bottom
    std::vector<Question> questions;
    questions.reserve(windows.size());
    for (const xcb_window_t window : windows) questions.emplace_back(connection, atoms, window);
    QList<WindowInfo> result;
    for (const Question& question : questions) {
        if (const auto window = question.answer(desktop)) result.append(*window);
    }
    return result;
}

} // namespace murlo
