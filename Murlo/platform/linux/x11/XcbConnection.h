#pragma once

#include "platform/Port.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <vector>

namespace murlo {

/// Deleter for memory that xcb allocated with malloc().
struct XcbFree {
    void operator()(void* memory) const { std::free(memory); }
};

/// A reply or event of the server; null when the request failed or the connection is lost.
template <typename T>
using XcbPointer = std::unique_ptr<T, XcbFree>;

/// A window's property as the server sent it; without values when the window does not have it.
class XcbProperty {
public:
    explicit XcbProperty(XcbPointer<xcb_get_property_reply_t> reply)
        : m_reply(std::move(reply)) {}

    /// False when the window is gone or the connection is lost.
    [[nodiscard]] bool isRead() const { return m_reply != nullptr; }
    /// Whether the property is longer than the part that was requested.
    [[nodiscard]] bool isCut() const { return m_reply && m_reply->bytes_after > 0; }
    [[nodiscard]] xcb_atom_t type() const { return m_reply ? m_reply->type : 0U; }
    /// The size of its values: 8, 16 or 32; 0 when the window does not have it.
    [[nodiscard]] int bits() const { return m_reply ? m_reply->format : 0; }
    /// The raw values, of any size, in this machine's byte order.
    [[nodiscard]] QByteArray bytes() const;
    /// The values if they are of 8 bits.
    [[nodiscard]] QByteArray text() const { return bits() == 8 ? bytes() : QByteArray(); }
    /// The values if they are of 32 bits.
    [[nodiscard]] std::vector<quint32> numbers() const;

private:
    XcbPointer<xcb_get_property_reply_t> m_reply;
};

/// Cache of the atom names and numbers of one connection. For the thread that owns the connection.
class XcbAtoms {
public:
    explicit XcbAtoms(xcb_connection_t* connection)
        : m_connection(connection) {}

    /// The atoms of these names, created if necessary; one round trip for all that are not cached;
    /// XCB_ATOM_NONE when the connection is lost.
    [[nodiscard]] QList<xcb_atom_t> atoms(const QStringList& names);
    [[nodiscard]] xcb_atom_t atom(const QString& name) { return atoms({name}).first(); }
    /// The names of the atoms; one round trip for all that are not cached; empty for an invalid
    /// atom.
    [[nodiscard]] QStringList names(const QList<xcb_atom_t>& atoms);
    [[nodiscard]] QString name(xcb_atom_t atom) { return names({atom}).first(); }

private:
    void remember(xcb_atom_t atom, const QString& name);

    xcb_connection_t* m_connection;
    QHash<QString, xcb_atom_t> m_atoms;
    QHash<xcb_atom_t, QString> m_names;
};

/// A connection to the desktop's X server (the DISPLAY variable), closed with its owner. Used on
/// one thread at a time. Request errors arrive as events or null replies, and a lost server as
/// `isAlive() == false`; neither ends the process.
class XcbConnection : NonCopyable {
public:
    /// Any thread.
    XcbConnection();
    ~XcbConnection() { xcb_disconnect(m_connection); }

    operator xcb_connection_t*() const { return m_connection; }
    [[nodiscard]] bool isAlive() const { return !xcb_connection_has_error(m_connection); }
    /// The socket, to poll for events. Events that were read along with a reply do not make it
    /// readable.
    [[nodiscard]] int descriptor() const { return xcb_get_file_descriptor(m_connection); }
    /// The session's screen.
    [[nodiscard]] int screen() const { return m_screen; }
    /// Its root window; XCB_WINDOW_NONE without a server.
    [[nodiscard]] xcb_window_t root() const { return m_root; }
    /// Opcode and event numbers of an extension; null when the server does not have it.
    [[nodiscard]] const xcb_query_extension_reply_t* extension(xcb_extension_t& extension) const;
    /// Numbers and names of atoms, cached.
    [[nodiscard]] XcbAtoms& atoms() const { return m_atoms; }
    [[nodiscard]] xcb_atom_t atom(const QString& name) const { return m_atoms.atom(name); }

    /// One round trip: when it returns, the server has processed everything sent before.
    void sync() const;
    /// The next event, queued or waiting on the socket, or the error (type 0) of a request without
    /// a reply; null when there is none. Does not block.
    [[nodiscard]] XcbPointer<xcb_generic_event_t> nextEventOrError() const {
        return XcbPointer<xcb_generic_event_t>(xcb_poll_for_event(m_connection));
    }
    /// The same, but skips errors.
    [[nodiscard]] XcbPointer<xcb_generic_event_t> nextEvent() const;
    /// The reply to a request, for any request and its reply function.
    template <typename Reply, typename Cookie>
    [[nodiscard]] XcbPointer<Reply> reply(Reply* (*receive)(xcb_connection_t*, Cookie,
                                                            xcb_generic_error_t**),
                                          Cookie cookie) const {
        return XcbPointer<Reply>(receive(m_connection, cookie, nullptr));
    }

    /// Asks for a window's property if it is of the type (0 for any), for at most so many units of
    /// four bytes of it.
    [[nodiscard]] xcb_get_property_cookie_t
    askProperty(xcb_window_t window, xcb_atom_t name, xcb_atom_t type, quint32 words = 1024) const {
        return xcb_get_property(m_connection, 0, window, name, type, 0, words);
    }
    /// The reply to any property request.
    [[nodiscard]] XcbProperty property(xcb_get_property_cookie_t cookie) const {
        return XcbProperty(reply(xcb_get_property_reply, cookie));
    }
    /// Both in one call: a round trip.
    [[nodiscard]] XcbProperty property(xcb_window_t window, xcb_atom_t name,
                                       xcb_atom_t type) const {
        return property(askProperty(window, name, type));
    }

private:
    int m_screen = 0;
    xcb_connection_t* m_connection;
    xcb_window_t m_root = XCB_WINDOW_NONE;
    mutable XcbAtoms m_atoms; ///< a cache
};

} // namespace murlo
