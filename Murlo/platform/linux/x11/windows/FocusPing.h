#pragma once

#include "platform/linux/x11/windows/WindowManager.h"

namespace murlo {

/// Asks the focused program to answer once it has reached this point of its event queue, by the
/// window managers' _NET_WM_PING message, which the common toolkits answer in order with the
/// preceding key events. Main thread; never blocks.
class FocusPing {
public:
    explicit FocusPing(const XcbConnection& connection)
        : m_connection(connection)
        , m_windows(connection) {}

    /// Sends a ping; false when the focused window does not support it.
    bool send(quint32 number);
    /// The process that owns the focused window, if it says so.
    [[nodiscard]] std::optional<qint64> focusedPid() const;
    /// The number of the ping that an event of the connection answers, if any.
    [[nodiscard]] std::optional<quint32> answered(const xcb_generic_event_t& event);
    /// Stops waiting for answers.
    void stop();

private:
    /// Whether a window declares that it answers pings.
    [[nodiscard]] bool isAnswering(xcb_window_t window) const;

    const XcbConnection& m_connection;
    WindowManager m_windows;
    xcb_window_t m_focus = XCB_WINDOW_NONE; ///< the window that `m_target` was found for
    xcb_window_t m_target = XCB_WINDOW_NONE;
    bool m_listening = false;
};

} // namespace murlo
