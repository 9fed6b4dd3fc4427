#pragma once

#include "platform/linux/x11/XcbConnection.h"
#include "platform/linux/x11/clipboard/X11Pasteboard.h"

#include <array>
#include <cstring>
#include <thread>

#include <xcb/xcb.h>

namespace murlo {

/// A bare X client with a window, for what toolkits do not let a program do.
class BareClient {
public:
    BareClient() {
        xcb_create_window(connection, 0, window, connection.root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
    }

    [[nodiscard]] xcb_atom_t atom(const char* name) {
        return connection.atom(QString::fromLatin1(name));
    }
    /// The next event of this type.
    template <typename Event>
    Event next(int type) {
        xcb_flush(connection);
        for (;;) {
            const XcbPointer<xcb_generic_event_t> event(xcb_wait_for_event(connection));
            if (!event) return {};
            if ((event->response_type & 0x7f) == type)
                return *reinterpret_cast<const Event*>(event.get());
        }
    }
    /// What the clipboard's owner answers to a request with this time of an event; "refused" if so.
    QByteArray ask(const char* target, xcb_timestamp_t time) {
        const xcb_atom_t property = atom("ANSWER");
        xcb_convert_selection(connection, window, atom("CLIPBOARD"), atom(target), property, time);
        if (next<xcb_selection_notify_event_t>(XCB_SELECTION_NOTIFY).property == XCB_ATOM_NONE)
            return "refused";
        return connection.property(xcb_get_property(connection, 1, window, property, 0, 0, 1000))
            .bytes();
    }

    const XcbConnection connection;
    const xcb_window_t window = xcb_generate_id(connection);
};

/// A session's clipboard manager, as small as can be: keeps what it is asked to keep, once, by
/// means of a pasteboard of its own.
class ClipboardManager {
public:
    ClipboardManager() {
        xcb_set_selection_owner(m_client.connection, m_client.window,
                                m_client.atom("CLIPBOARD_MANAGER"), XCB_CURRENT_TIME);
        static_cast<void>(m_client.atom("its reply means that we own it"));
        m_thread = std::thread([this] { run(); });
    }
    ClipboardManager(const ClipboardManager&) = delete;
    ClipboardManager& operator=(const ClipboardManager&) = delete;
    ~ClipboardManager() { m_thread.join(); }

private:
    void run() {
        const auto request = m_client.next<xcb_selection_request_event_t>(XCB_SELECTION_REQUEST);
        const auto reading = m_store.read();
        while (!reading->isComplete()) std::this_thread::yield();
        m_store.write(reading->snapshot());
        xcb_selection_notify_event_t answer{};
        answer.response_type = XCB_SELECTION_NOTIFY;
        answer.requestor = request.requestor;
        answer.selection = request.selection;
        answer.target = request.target;
        answer.property = request.property;
        std::array<char, 32> buffer{};
        std::memcpy(buffer.data(), &answer, sizeof answer);
        xcb_send_event(m_client.connection, 0, request.requestor, 0, buffer.data());
        xcb_flush(m_client.connection);
    }

    X11Pasteboard m_store;
    BareClient m_client;
    std::thread m_thread;
};

} // namespace murlo
