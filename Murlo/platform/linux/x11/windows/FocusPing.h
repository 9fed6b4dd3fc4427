#pragma once

#include "platform/linux/x11/XcbConnection.h"

#include <optional>
#include <vector>

namespace murlo {

/// Asks the program with the keyboard focus to answer once it has got to this point of its event
/// queue: the window managers' "are you alive" message, which the common toolkits answer in order
/// with the keys before it. Main thread; never waits for the program.
class FocusPing {
public:
    explicit FocusPing(const XcbConnection& connection)
        : m_connection(connection)
        , m_atoms(connection) {}

    /// Sends the question; false when the focused window takes none.
    bool send(quint32 number);
    /// The process that owns the focused window, if it says so.
    [[nodiscard]] std::optional<qint64> focusedPid();
    /// The number that an event of the connection answers, if it is an answer.
    [[nodiscard]] std::optional<quint32> answered(const xcb_generic_event_t& event);
    /// No answer is awaited any more.
    void stop();

private:
    /// The focused window, or the one around it, that has the property, with the wanted number in
    /// it if one is given.
    [[nodiscard]] xcb_window_t windowWith(xcb_window_t focus, const QString& name, xcb_atom_t type,
                                          quint32 number = 0);
    /// The numbers in a window's property; none if it has not got it.
    [[nodiscard]] std::vector<quint32> property(xcb_window_t window, const QString& name,
                                                xcb_atom_t type);

    const XcbConnection& m_connection;
    XcbAtoms m_atoms;
    xcb_window_t m_focus = XCB_WINDOW_NONE; ///< the window that `m_target` was found for
    xcb_window_t m_target = XCB_WINDOW_NONE;
    bool m_listening = false;
};

} // namespace murlo
