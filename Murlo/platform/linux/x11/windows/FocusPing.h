#pragma once

#include "platform/linux/x11/windows/WindowManager.h"

namespace murlo {

/// Asks the program with the keyboard focus to answer once it has got to this point of its event
/// queue: the window managers' "are you alive" message, which the common toolkits answer in order
/// with the keys before it. Main thread; never waits for the program.
class FocusPing {
public:
    explicit FocusPing(const XcbConnection& connection)
        : m_connection(connection)
        , m_windows(connection) {}

    /// Sends the question; false when the focused window takes none.
    bool send(quint32 number);
    /// The process that owns the focused window, if it says so.
    [[nodiscard]] std::optional<qint64> focusedPid() const;
    /// The number that an event of the connection answers, if it is an answer.
    [[nodiscard]] std::optional<quint32> answered(const xcb_generic_event_t& event);
    /// No answer is awaited any more.
    void stop();

private:
    /// Whether a window's program says that it answers.
    [[nodiscard]] bool isAnswering(xcb_window_t window) const;

    const XcbConnection& m_connection;
    WindowManager m_windows;
    xcb_window_t m_focus = XCB_WINDOW_NONE; ///< the window that `m_target` was found for
    xcb_window_t m_target = XCB_WINDOW_NONE;
    bool m_listening = false;
};

} // namespace murlo
