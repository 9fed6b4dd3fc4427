#pragma once

#include "platform/linux/x11/XcbConnection.h"
#include "platform/linux/x11/clipboard/ClipboardContent.h"

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

namespace murlo {

/// The owner's side of the CLIPBOARD selection: answers other programs' requests for our content.
/// Lives on the clipboard's thread and never waits for another program.
class ClipboardServer {
public:
    using Clock = std::chrono::steady_clock;
    using Content = std::shared_ptr<const ClipboardContent>;

    explicit ClipboardServer(const XcbConnection& connection);

    /// We own the selection since the server's time `since`, with this content (null: we gave it
    /// up).
    void adopt(Content content, xcb_timestamp_t since);
    /// Somebody else took the selection. Transfers under way continue.
    void drop();
    /// Null while somebody else, or nobody, owns the selection.
    [[nodiscard]] const Content& content() const { return m_current.content; }
    [[nodiscard]] xcb_timestamp_t since() const { return m_current.since; }
    /// The answer to a TARGETS request.
    [[nodiscard]] QList<xcb_atom_t> targets(const ClipboardContent& content);

    /// Another program requests our content: answers it at once or begins a transfer in pieces.
    void handleRequest(const xcb_selection_request_event_t& request);
    /// A property of a requestor's window was deleted: sends the next piece.
    void handleDeleted(const xcb_property_notify_event_t& event);
    /// The window was destroyed; its id may soon be reused by another program.
    void forgetWindow(xcb_window_t window);

    /// Drops the transfers whose requestor has been inactive for 10 s.
    void expire(Clock::time_point now);
    /// When `expire` is due next.
    [[nodiscard]] std::optional<Clock::time_point> deadline() const;

private:
    /// A content and the server time at which we became its owner.
    struct Period {
        Content content;
        xcb_timestamp_t since = XCB_CURRENT_TIME;
    };
    /// A large answer under way, piece by piece (the INCR mechanism).
    struct Transfer {
        xcb_window_t window;
        xcb_atom_t property;
        xcb_atom_t type;
        int bits;
        QByteArray bytes;
        qsizetype sent;
        Clock::time_point progressed;
    };

    [[nodiscard]] const Period* periodAt(xcb_timestamp_t time) const;
    bool convert(const Period& period, xcb_window_t window, xcb_atom_t target, xcb_atom_t property);
    bool convertMultiple(const Period& period, xcb_window_t window, xcb_atom_t property);
    void send(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, int bits,
              const QByteArray& bytes);
    void watch(xcb_window_t window, bool wanted);

    const XcbConnection& m_connection;
    qsizetype m_pieceSize;
    Period m_current;
    Period m_previous;
    std::vector<Transfer> m_transfers;
};

} // namespace murlo
