#pragma once

#include "platform/Applications.h"
#include "platform/linux/x11/XcbConnection.h"

#include <QStringList>

#include <functional>
#include <optional>
#include <vector>
#include <xcb/xcb_ewmh.h>

namespace murlo {

/// What the window manager and the programs publish about windows (EWMH). Without a server, or a
/// window manager, answers are empty. For the thread that owns the connection.
class WindowManager : NonCopyable {
public:
    explicit WindowManager(const XcbConnection& connection);
    ~WindowManager() { xcb_ewmh_connection_wipe(&m_ewmh); }

    /// The windows that the current desktop shows, front to back. Always two round trips.
    [[nodiscard]] QList<WindowInfo> shown() const;
    /// The windows of a process, topmost first, including those that are not shown.
    [[nodiscard]] std::vector<xcb_window_t> windowsOf(qint64 pid) const;
    /// The active window; XCB_WINDOW_NONE when there is none.
    [[nodiscard]] xcb_window_t active() const;
    /// The window with the keyboard focus, which may be unknown to the window manager.
    [[nodiscard]] xcb_window_t focused() const;
    /// The first of a window and its ancestors for which `found` holds: toolkits may focus a child
    /// of the window that carries the properties. XCB_WINDOW_NONE when there is none.
    [[nodiscard]] xcb_window_t outwards(xcb_window_t window,
                                        const std::function<bool(xcb_window_t)>& found) const;

    /// The process that a window says it belongs to.
    [[nodiscard]] std::optional<qint64> pidOf(xcb_window_t window) const;
    [[nodiscard]] QString titleOf(xcb_window_t window) const;
    /// Class and instance name of a window.
    [[nodiscard]] QStringList classesOf(xcb_window_t window) const;

    /// Brings a window to the front, as a task bar does.
    void activate(xcb_window_t window) const;

private:
    struct Question;

    /// All windows, the topmost first.
    [[nodiscard]] std::vector<xcb_window_t> windows() const;
    [[nodiscard]] Question ask(xcb_window_t window) const;
    /// Empty for a window that is not shown.
    [[nodiscard]] std::optional<WindowInfo> answer(const Question& question,
                                                   std::optional<quint32> currentDesktop) const;
    [[nodiscard]] std::optional<quint32> number(xcb_get_property_cookie_t cookie) const;

    const XcbConnection& m_connection;
    /// Not const because the library's functions take it so; has no screens without a server.
    mutable xcb_ewmh_connection_t m_ewmh{};
};

} // namespace murlo
