#pragma once

#include "platform/Port.h"
#include "platform/linux/x11/XcbSupport.h"

// The C header names a structure member with a C++ keyword.
#ifdef __clang__
#pragma clang diagnostic ignored "-Wkeyword-macro"
#endif
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

namespace murlo {

/// Connects to the desktop's X server; `screen` receives the session's screen number. Any thread.
/// Never null; a failure is a connection with an error.
[[nodiscard]] xcb_connection_t* connectToDisplay(int* screen);

/// A connection to the desktop's X server (the DISPLAY variable), closed with its owner. Used
/// on one thread at a time. Errors of requests come as events or null replies and a lost server as
/// `isAlive() == false`: neither ends the process.
class XcbConnection : NonCopyable {
public:
    XcbConnection();
    ~XcbConnection() { xcb_disconnect(m_connection); }

    operator xcb_connection_t*() const { return m_connection; }
    [[nodiscard]] bool isAlive() const { return !xcb_connection_has_error(m_connection); }
    /// Root window of the session's screen; XCB_WINDOW_NONE without a server.
    [[nodiscard]] xcb_window_t root() const { return m_root; }
    /// A round trip: everything sent before has been carried out when it returns.
    void sync() const;
    /// The next event read so far or waiting at the socket; null when there is none. Errors of
    /// requests without a reply are dropped.
    [[nodiscard]] XcbPointer<xcb_generic_event_t> nextEvent() const;
    /// The reply to a request, for any request and its reply function.
    template <typename Reply, typename Cookie>
    [[nodiscard]] XcbPointer<Reply> reply(Reply* (*receive)(xcb_connection_t*, Cookie,
                                                            xcb_generic_error_t**),
                                          Cookie cookie) const {
        xcb_generic_error_t* error = nullptr;
        XcbPointer<Reply> answer(receive(m_connection, cookie, &error));
        std::free(error);
        return answer;
    }

private:
    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
};

} // namespace murlo
