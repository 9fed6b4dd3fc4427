#include "platform/linux/x11/windows/WindowManager.h"

#include <QMarginsF>

#include <algorithm>

namespace murlo {

namespace {

constexpr quint32 everyDesktop = 0xFFFFFFFF;

bool has(const std::vector<quint32>& values, quint32 wanted) {
    return std::ranges::find(values, wanted) != values.end();
}

/// Widths of a window's border (frame extents) in the order left, right, top, bottom.
QMarginsF marginsOf(const XcbProperty& border) {
    const auto values = border.numbers();
    if (values.size() < 4) return {};
    return {double(values[0]), double(values[2]), double(values[1]), double(values[3])};
}

} // namespace

/// The pending requests about one window, sent together.
struct WindowManager::Question {
    xcb_get_property_cookie_t pid;
    xcb_get_property_cookie_t desktop;
    xcb_get_property_cookie_t state;
    xcb_get_property_cookie_t type;
    xcb_get_property_cookie_t title;
    xcb_get_property_cookie_t frame;
    xcb_get_property_cookie_t shadow;
    xcb_get_geometry_cookie_t size;
    xcb_translate_coordinates_cookie_t place;
};

WindowManager::WindowManager(const XcbConnection& connection)
    : m_connection(connection) {
    if (connection.isAlive() &&
        xcb_ewmh_init_atoms_replies(&m_ewmh, xcb_ewmh_init_atoms(connection, &m_ewmh), nullptr))
        return;
    m_ewmh = {};
    m_ewmh.connection = connection;
}

std::optional<quint32> WindowManager::number(xcb_get_property_cookie_t cookie) const {
    const auto values = m_connection.property(cookie).numbers();
    return values.empty() ? std::nullopt : std::optional(values.front());
}

std::vector<xcb_window_t> WindowManager::windows() const {
    if (!m_ewmh.nb_screens) return {};
    auto all =
        m_connection.property(xcb_ewmh_get_client_list_stacking(&m_ewmh, m_connection.screen()))
            .numbers();
    std::ranges::reverse(all); // the list begins at the bottom
    return all;
}

std::vector<xcb_window_t> WindowManager::windowsOf(qint64 pid) const {
    auto own = windows();
    std::erase_if(own, [&](xcb_window_t window) { return pidOf(window) != pid; });
    return own;
}

xcb_window_t WindowManager::active() const {
    if (!m_ewmh.nb_screens) return XCB_WINDOW_NONE;
    return number(xcb_ewmh_get_active_window(&m_ewmh, m_connection.screen()))
        .value_or(XCB_WINDOW_NONE);
}

xcb_window_t WindowManager::focused() const {
    const auto focus =
        m_connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection));
    return focus ? focus->focus : xcb_window_t{XCB_WINDOW_NONE};
}

xcb_window_t WindowManager::outwards(xcb_window_t window,
                                     const std::function<bool(xcb_window_t)>& found) const {
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != m_connection.root()) {
        if (found(window)) return window;
        const auto tree =
            m_connection.reply(xcb_query_tree_reply, xcb_query_tree(m_connection, window));
        if (!tree) break;
        window = tree->parent;
    }
    return XCB_WINDOW_NONE;
}

std::optional<qint64> WindowManager::pidOf(xcb_window_t window) const {
    return number(xcb_ewmh_get_wm_pid(&m_ewmh, window));
}

QString WindowManager::titleOf(xcb_window_t window) const {
    const auto title =
        m_connection.property(window, m_ewmh._NET_WM_NAME, XCB_GET_PROPERTY_TYPE_ANY);
    return QString::fromUtf8(title.text());
}

QStringList WindowManager::classesOf(xcb_window_t window) const {
    const auto both = m_connection.property(window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING);
    const QList<QByteArray> parts = both.text().split('\0'); // instance, class
    QStringList classes{QString::fromLatin1(parts.value(1)), QString::fromLatin1(parts.value(0))};
    classes.removeAll(QString());
    return classes;
}

WindowManager::Question WindowManager::ask(xcb_window_t window) const {
    // The library does not limit the length of lists, which a program chooses.
    constexpr xcb_atom_t any = XCB_GET_PROPERTY_TYPE_ANY;
    return {xcb_ewmh_get_wm_pid(&m_ewmh, window),
            xcb_ewmh_get_wm_desktop(&m_ewmh, window),
            m_connection.askProperty(window, m_ewmh._NET_WM_STATE, XCB_ATOM_ATOM),
            m_connection.askProperty(window, m_ewmh._NET_WM_WINDOW_TYPE, XCB_ATOM_ATOM),
            m_connection.askProperty(window, m_ewmh._NET_WM_NAME, any),
            xcb_ewmh_get_frame_extents(&m_ewmh, window),
            m_connection.askProperty(window,
                                     m_connection.atom(QStringLiteral("_GTK_FRAME_EXTENTS")), any),
            xcb_get_geometry(m_connection, window),
            xcb_translate_coordinates(m_connection, window, m_connection.root(), 0, 0)};
}

std::optional<WindowInfo> WindowManager::answer(const Question& question,
                                                std::optional<quint32> currentDesktop) const {
    const auto pid = number(question.pid);
    const auto desktop = number(question.desktop);
    const auto state = m_connection.property(question.state).numbers();
    const auto type = m_connection.property(question.type).numbers();
    const auto title = m_connection.property(question.title);
    const QMarginsF frame = marginsOf(m_connection.property(question.frame));
    const QMarginsF shadow = marginsOf(m_connection.property(question.shadow));
    const auto size = m_connection.reply(xcb_get_geometry_reply, question.size);
    const auto place = m_connection.reply(xcb_translate_coordinates_reply, question.place);
    const bool elsewhere =
        desktop && currentDesktop && *desktop != everyDesktop && *desktop != *currentDesktop;
    if (!pid || elsewhere || !size || !place || has(state, m_ewmh._NET_WM_STATE_HIDDEN))
        return std::nullopt;
    WindowInfo window;
    window.pid = *pid;
    window.title = QString::fromUtf8(title.text());
    window.content =
        QRectF(place->dst_x, place->dst_y, size->width, size->height).marginsRemoved(shadow);
    window.bounds = window.content.marginsAdded(frame);
    window.isDocument = !has(type, m_ewmh._NET_WM_WINDOW_TYPE_DOCK) &&
                        !has(type, m_ewmh._NET_WM_WINDOW_TYPE_DESKTOP);
    return window;
}

QList<WindowInfo> WindowManager::shown() const {
    if (!m_ewmh.nb_screens) return {};
    const auto current = xcb_ewmh_get_current_desktop(&m_ewmh, m_connection.screen());
    std::vector<Question> questions;
    for (const xcb_window_t window : windows()) questions.push_back(ask(window));
    const auto desktop = number(current);
    QList<WindowInfo> result;
    for (const Question& question : questions) {
        if (const auto window = answer(question, desktop)) result.append(*window);
    }
    return result;
}

void WindowManager::activate(xcb_window_t window) const {
    if (!m_ewmh.nb_screens) return;
    // Source indication "user action", as from a task bar: exempt from focus stealing prevention.
    xcb_ewmh_request_change_active_window(&m_ewmh, m_connection.screen(), window,
                                          XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER, XCB_CURRENT_TIME,
                                          XCB_WINDOW_NONE);
    xcb_flush(m_connection);
}

} // namespace murlo
