#include "platform/linux/x11/windows/X11Applications.h"

#include "platform/linux/processes/ProcessFacts.h"
#include "platform/linux/x11/windows/PointerClick.h"
#include "platform/linux/x11/windows/WindowList.h"

#include <algorithm>

namespace murlo {

namespace {

QStringList lowerCase(QStringList names) {
    for (QString& name : names) name = name.toLower();
    return names;
}

} // namespace

X11Applications::X11Applications(Scheduler& scheduler)
    : m_atoms(m_connection)
    , m_entries(scheduler) {}

std::vector<quint32> X11Applications::property(xcb_window_t window, const char* name,
                                               xcb_atom_t type) const {
    const auto value = m_connection.reply(
        xcb_get_property_reply, xcb_get_property(m_connection, 0, window,
                                                 m_atoms.atom(QLatin1String(name)), type, 0, 4096));
    if (!value || value->format != 32) return {};
    const auto* numbers = static_cast<const quint32*>(xcb_get_property_value(value.get()));
    return {numbers, numbers + value->value_len};
}

std::optional<qint64> X11Applications::pidOf(xcb_window_t window) const {
    const auto pid = property(window, "_NET_WM_PID", XCB_ATOM_CARDINAL);
    return pid.empty() ? std::nullopt : std::optional<qint64>(pid.front());
}

xcb_window_t X11Applications::activeWindow() const {
    const auto active = property(m_connection.root(), "_NET_ACTIVE_WINDOW", XCB_ATOM_WINDOW);
    return active.empty() ? 0 : active.front();
}

std::optional<qint64> X11Applications::frontmostPid() const {
    const xcb_window_t window = activeWindow();
    return window == XCB_WINDOW_NONE ? std::nullopt : pidOf(window);
}

QStringList X11Applications::focusedProgram() const {
    // The window with the focus may lie inside the one that bears the names, and menus and
    // launchers have it without being the window manager's active window.
    const auto focus =
        m_connection.reply(xcb_get_input_focus_reply, xcb_get_input_focus(m_connection));
    xcb_window_t window = focus ? focus->focus : xcb_window_t{XCB_WINDOW_NONE};
    while (window > XCB_INPUT_FOCUS_POINTER_ROOT && window != m_connection.root()) {
        if (const QStringList classes = classesOf(window); !classes.isEmpty())
            return lowerCase(classes);
        const auto tree =
            m_connection.reply(xcb_query_tree_reply, xcb_query_tree(m_connection, window));
        window = tree ? tree->parent : xcb_window_t{XCB_WINDOW_NONE};
    }
    const xcb_window_t active = activeWindow();
    return active == XCB_WINDOW_NONE ? QStringList() : lowerCase(classesOf(active));
}

std::vector<xcb_window_t> X11Applications::windows(qint64 pid) const {
    std::vector<xcb_window_t> own;
    for (const xcb_window_t window :
         property(m_connection.root(), "_NET_CLIENT_LIST_STACKING", XCB_ATOM_WINDOW)) {
        if (pidOf(window) == pid) own.push_back(window);
    }
    std::reverse(own.begin(), own.end()); // the list begins at the bottom
    return own;
}

QStringList X11Applications::classesOf(xcb_window_t window) const {
    const auto value = m_connection.reply(
        xcb_get_property_reply,
        xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256));
    if (!value || value->format != 8) return {};
    const QByteArray both(static_cast<const char*>(xcb_get_property_value(value.get())),
                          xcb_get_property_value_length(value.get()));
    const QList<QByteArray> parts = both.split('\0'); // instance, class
    QStringList classes{QString::fromLatin1(parts.value(1)), QString::fromLatin1(parts.value(0))};
    classes.removeAll(QString());
    return classes;
}

QStringList X11Applications::windowClasses(qint64 pid) const {
    QStringList classes;
    for (const xcb_window_t window : windows(pid)) classes.append(classesOf(window));
    classes.removeDuplicates();
    return classes;
}

std::optional<DesktopEntries::Entry> X11Applications::entry(qint64 pid) const {
    for (const auto& id : {ProcessFacts::launchedEntry(pid), ProcessFacts::applicationGroup(pid)}) {
        if (!id) continue;
        if (auto found = m_entries.withId(*id)) return found;
    }
    for (const QString& name : windowClasses(pid)) {
        if (auto found = m_entries.withWindowClass(name)) return found;
    }
    for (const QString& program : ProcessFacts::programs(pid)) {
        if (auto found = m_entries.withProgram(program)) return found;
    }
    return std::nullopt;
}

std::optional<QString> X11Applications::identifier(qint64 pid) const {
    const auto found = entry(pid);
    return found ? std::optional(found->id) : std::nullopt;
}

std::optional<QString> X11Applications::name(qint64 pid) const {
    if (const auto found = entry(pid); found && !found->name.isEmpty()) return found->name;
    if (const QStringList classes = windowClasses(pid); !classes.isEmpty()) return classes.first();
    return ProcessFacts::commandName(pid);
}

QList<WindowInfo> X11Applications::windowsOnScreen() const {
    return readWindowList(m_connection, m_atoms);
}

QString X11Applications::titleOf(xcb_window_t window) const {
    const auto value = m_connection.reply(
        xcb_get_property_reply,
        xcb_get_property(m_connection, 0, window, m_atoms.atom(QStringLiteral("_NET_WM_NAME")),
                         XCB_GET_PROPERTY_TYPE_ANY, 0, 256));
    if (!value || value->format != 8) return {};
    return QString::fromUtf8(static_cast<const char*>(xcb_get_property_value(value.get())),
                             xcb_get_property_value_length(value.get()));
}

bool X11Applications::click(qint64 pid, const QString& title, const QRectF& box) {
    return clickInto(m_connection, windowsOnScreen(), pid, title, box);
}

void X11Applications::activate(qint64 pid, const QString& title) {
    const auto own = windows(pid);
    if (own.empty()) return;
    auto chosen = std::find_if(own.begin(), own.end(), [&](xcb_window_t window) {
        return !title.isEmpty() && titleOf(window) == title;
    });
    if (chosen == own.end()) chosen = own.begin();
    xcb_client_message_event_t message{};
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = *chosen;
    message.type = m_atoms.atom(QStringLiteral("_NET_ACTIVE_WINDOW"));
    message.data.data32[0] =
        2; // the user's wish, as from a task bar: not subject to focus stealing rules
    xcb_send_event(m_connection, 0, m_connection.root(),
                   XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(m_connection);
}

} // namespace murlo
