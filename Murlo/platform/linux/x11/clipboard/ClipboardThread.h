#pragma once

#include "platform/Port.h"
#include "platform/linux/threads/Bell.h"
#include "platform/linux/x11/clipboard/ClipboardReader.h"
#include "platform/linux/x11/clipboard/ClipboardServer.h"

#include <atomic>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace murlo {

/// The CLIPBOARD selection on a connection and a thread of its own, so that no other thread blocks
/// on a hung owner or a slow requestor. Without an X server nothing is read or written.
class ClipboardThread : NonCopyable {
public:
    /// `foreignChange` is called on the clipboard's thread.
    explicit ClipboardThread(std::function<void()> foreignChange);
    /// Hands a content that we own to the clipboard manager, if one runs (at most 0.3 s), and joins
    /// the thread.
    ~ClipboardThread();

    /// Any thread.
    [[nodiscard]] qint64 changeCount() const { return m_changeCount; }

    /// Takes the selection with this content, or gives it up when null, and returns the change
    /// count that this leads to. Any thread but the clipboard's. On return the server has processed
    /// it, unless it did not answer for 0.5 s.
    qint64 own(ClipboardServer::Content content);

    /// Starts to read the selection owner's content. Any thread.
    [[nodiscard]] std::shared_ptr<ClipboardReading> read();

private:
    using Clock = ClipboardServer::Clock;

    void post(std::function<void()> command);

    // Called on the clipboard's thread:
    void run();
    void connect();
    /// One iteration of the loop: commands, events, timeouts; then polls, at most until `limit`.
    void serve(std::optional<Clock::time_point> limit);
    bool runCommands();
    /// Runs queued commands and handles the events that have arrived; false if there were none.
    bool drainEvents();
    void handle(const xcb_generic_event_t& event);
    void ownerChanged(const xcb_generic_event_t& event);
    void wait(std::optional<Clock::time_point> limit);
    [[nodiscard]] xcb_window_t ownerOf(xcb_atom_t selection) const;
    qint64 takeSelection(const ClipboardServer::Content& content);
    void beginReading(const std::shared_ptr<ClipboardReading>& reading);
    void handOver();

    const std::function<void()> m_foreignChange;
    std::atomic<qint64> m_changeCount = 0;
    std::mutex m_lock;
    std::deque<std::function<void()>> m_commands;
    Bell m_bell;

    bool m_stopping = false;
    std::unique_ptr<XcbConnection> m_connection; ///< null without a server
    xcb_window_t m_window = XCB_WINDOW_NONE;
    xcb_atom_t m_clipboard = XCB_ATOM_NONE;
    xcb_atom_t m_manager = XCB_ATOM_NONE;
    quint8 m_fixesNotify = 0;
    xcb_timestamp_t m_ownerSince = XCB_CURRENT_TIME;
    /// Our change of the owner until the server has confirmed it: the request's sequence number and
    /// the content.
    std::optional<std::pair<quint32, ClipboardServer::Content>> m_change;
    qint64 m_ownCount = 0; ///< the change count that our last change led to
    bool m_handedOver = false;
    std::unique_ptr<ClipboardServer> m_server;
    std::unique_ptr<ClipboardReader> m_reader;

    std::thread m_thread;
};

} // namespace murlo
