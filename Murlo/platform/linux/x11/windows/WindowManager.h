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
/// window manager, there is nothing to tell. For the thread that owns the connection.
class WindowManager : NonCopyable {
public:
    explicit WindowManager(const XcbConnection& connection);
    ~WindowManager() { xcb_ewmh_connection_wipe(&m_ewmh); }

    /// The windows that the current desktop shows, front to back. Two round trips, however many
    /// there are.
    [[nodiscard]] QList<WindowInfo> shown() const;
    /// The windows of a process, the topmost first, those that are not shown included.
    [[nodiscard]] std::vector<xcb_window_t> windowsOf(qint64 pid) const;
    /// The active window; XCB_WINDOW_NONE when there is none.
    [[nodiscard]] xcb_window_t active() const;
    /// The window with the keyboard focus, which may be none that the window manager knows.
    [[nodiscard]] xcb_window_t focused() const;
    /// Goes from a window outwards until `found` has found what it looks for: toolkits may focus a
    /// window inside the one that is described. XCB_WINDOW_NONE when that is nowhere.
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
    /// Nothing for a window that the desktop does not show.
    [[nodiscard]] std::optional<WindowInfo> answer(const Question& question,
                                                   std::optional<quint32> currentDesktop) const;
    [[nodiscard]] std::optional<quint32> number(xcb_get_property_cookie_t cookie) const;

    const XcbConnection& m_connection;
    /// The library asks for it to be writable and writes nothing; no screens without a server.
    mutable xcb_ewmh_connection_t m_ewmh{};
};

} // namespace murlo
