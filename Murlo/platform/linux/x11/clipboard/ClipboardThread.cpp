#include "platform/linux/x11/clipboard/ClipboardThread.h"

#include "platform/linux/x11/XcbConnection.h"
#include "support/Log.h"

#include <poll.h>
#include <xcb/xfixes.h>

#include <algorithm>
#include <future>

namespace murlo {

namespace {

constexpr auto handOverLimit = std::chrono::milliseconds(300);
constexpr auto serverLimit = std::chrono::milliseconds(500);

} // namespace

ClipboardThread::ClipboardThread(std::function<void()> foreignChange)
    : m_foreignChange(std::move(foreignChange))
    , m_thread([this] { run(); }) {}

ClipboardThread::~ClipboardThread() {
    post([this] { m_stopping = true; });
    m_thread.join();
}

void ClipboardThread::post(std::function<void()> command) {
    {
        const std::lock_guard guard(m_lock);
        m_commands.push_back(std::move(command));
    }
    m_bell.ring();
}

qint64 ClipboardThread::own(ClipboardServer::Content content) {
    auto done = std::make_shared<std::promise<qint64>>();
    auto result = done->get_future();
    const qint64 expected = m_changeCount + 1;
    post([this, content = std::move(content), done] { done->set_value(takeSelection(content)); });
    return result.wait_for(serverLimit) == std::future_status::ready ? result.get() : expected;
}

std::shared_ptr<ClipboardReading> ClipboardThread::read() {
    auto reading = std::make_shared<ClipboardReading>(m_changeCount);
    post([this, reading] { beginReading(reading); });
    return reading;
}

void ClipboardThread::run() {
    connect();
    while (!m_stopping) serve(std::nullopt);
    if (m_connection && m_server->content()) handOver();
    if (m_connection) xcb_disconnect(m_connection);
}

void ClipboardThread::connect() {
    int screenNumber = 0;
    xcb_connection_t* const connection = connectToDisplay(&screenNumber);
    if (xcb_connection_has_error(connection) != 0) {
        Log::write(QStringLiteral("clipboard: no X server"));
        xcb_disconnect(connection);
        return;
    }
    const auto* fixes = xcb_get_extension_data(connection, &xcb_xfixes_id);
    const XcbPointer<xcb_xfixes_query_version_reply_t> version(xcb_xfixes_query_version_reply(
        connection, xcb_xfixes_query_version(connection, 5, 0), nullptr));
    if (!fixes || !fixes->present || !version) {
        Log::write(QStringLiteral("clipboard: the X server has no XFixes"));
        xcb_disconnect(connection);
        return;
    }
    m_fixesNotify = fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    auto screen = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screenNumber > 0 && screen.rem > 1; --screenNumber) xcb_screen_next(&screen);
    m_window = xcb_generate_id(connection);
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(connection, 0, m_window, screen.data->root, -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    m_atoms = std::make_unique<XcbAtoms>(connection);
    m_clipboard = m_atoms->atom(QStringLiteral("CLIPBOARD"));
    m_manager = m_atoms->atom(QStringLiteral("CLIPBOARD_MANAGER"));
    xcb_xfixes_select_selection_input(connection, m_window, m_clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    m_server = std::make_unique<ClipboardServer>(connection, *m_atoms);
    m_reader = std::make_unique<ClipboardReader>(connection, *m_atoms, screen.data->root);
    m_connection = connection;
}

void ClipboardThread::serve(std::optional<Clock::time_point> limit) {
    // Whatever was handled may have sent requests, and its round trips may have left events in the
    // library's queue, where poll() sees nothing: wait only when a whole round had nothing to do.
    const bool anyEvents = drainEvents();
    const bool anyCommands = runCommands();
    if (anyEvents || anyCommands) return;
    if (m_connection) {
        const auto now = Clock::now();
        m_reader->expire(now);
        m_server->expire(now);
        for (const auto due : {m_reader->deadline(), m_server->deadline()}) {
            if (due && (!limit || *due < *limit)) limit = due;
        }
    }
    wait(limit);
}

bool ClipboardThread::runCommands() {
    std::deque<std::function<void()>> commands;
    {
        const std::lock_guard guard(m_lock);
        commands.swap(m_commands);
    }
    for (const auto& command : commands) command();
    return !commands.empty();
}

void ClipboardThread::wait(std::optional<Clock::time_point> limit) {
    int timeout = -1;
    if (limit) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*limit - Clock::now());
        timeout = std::max(0, static_cast<int>(left.count()));
    }
    pollfd files[] = {{m_bell.descriptor(), POLLIN, 0},
                      {m_connection ? xcb_get_file_descriptor(m_connection) : -1, POLLIN, 0}};
    poll(files, 2, timeout);
    m_bell.silence();
}

bool ClipboardThread::drainEvents() {
    if (!m_connection) return false;
    xcb_flush(m_connection);
    bool any = false;
    while (const auto event = XcbPointer<xcb_generic_event_t>(xcb_poll_for_event(m_connection))) {
        handle(*event);
        any = true;
    }
    if (xcb_connection_has_error(m_connection) == 0) return any;
    Log::write(QStringLiteral("clipboard: the X server is gone"));
    m_reader->ownerGone();
    m_reader.reset();
    m_server.reset();
    xcb_disconnect(std::exchange(m_connection, nullptr));
    return false;
}

void ClipboardThread::handle(const xcb_generic_event_t& event) {
    const quint8 type = event.response_type & 0x7f;
    if (type == m_fixesNotify) {
        ownerChanged(event);
        return;
    }
    switch (type) {
    case 0: {
        const auto& error = reinterpret_cast<const xcb_generic_error_t&>(event);
        if (error.error_code == XCB_WINDOW) m_server->forgetWindow(error.resource_id);
        break;
    }
    case XCB_DESTROY_NOTIFY:
        m_server->forgetWindow(reinterpret_cast<const xcb_destroy_notify_event_t&>(event).window);
        break;
    case XCB_SELECTION_REQUEST: {
        const auto& request = reinterpret_cast<const xcb_selection_request_event_t&>(event);
        if (request.selection == m_clipboard) m_server->handleRequest(request);
        break;
    }
    case XCB_SELECTION_NOTIFY: {
        const auto& answer = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        if (answer.selection == m_manager)
            m_handedOver = true;
        else
            m_reader->handleAnswer(answer);
        break;
    }
    case XCB_PROPERTY_NOTIFY: {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.state == XCB_PROPERTY_NEW_VALUE)
            m_reader->handleProperty(change);
        else
            m_server->handleDeleted(change);
        break;
    }
    default:
        break;
    }
}

void ClipboardThread::ownerChanged(const xcb_generic_event_t& event) {
    const auto& change = reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event);
    m_ownerSince = change.selection_timestamp;
    ++m_changeCount;
    // Our own change is the first that the server reports with that request's number: it is sent
    // while the request is carried out.
    if (m_change && static_cast<qint32>(event.full_sequence - m_change->first) >= 0) {
        m_server->adopt(std::exchange(m_change, std::nullopt)->second, change.selection_timestamp);
        m_ownCount = m_changeCount;
        return;
    }
    m_server->drop();
    if (change.subtype != XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER) m_reader->ownerGone();
    m_foreignChange();
}

qint64 ClipboardThread::takeSelection(const ClipboardServer::Content& content) {
    if (!m_connection) return ++m_changeCount;
    m_reader->freeze();
    const auto request =
        xcb_set_selection_owner(m_connection, content ? m_window : xcb_window_t{XCB_WINDOW_NONE},
                                m_clipboard, XCB_CURRENT_TIME);
    m_change = {request.sequence, content};
    // Once this is answered, the notification of the change is in the queue.
    const XcbPointer<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
        m_connection, xcb_get_selection_owner(m_connection, m_clipboard), nullptr));
    drainEvents();
    return m_connection ? m_ownCount : ++m_changeCount;
}

void ClipboardThread::beginReading(const std::shared_ptr<ClipboardReading>& reading) {
    if (!m_connection)
        reading->finish();
    else if (m_server->content())
        reading->fill(*m_server->content());
    else
        m_reader->begin(reading, m_ownerSince);
}

void ClipboardThread::handOver() {
    const XcbPointer<xcb_get_selection_owner_reply_t> manager(xcb_get_selection_owner_reply(
        m_connection, xcb_get_selection_owner(m_connection, m_manager), nullptr));
    if (!manager || manager->owner == XCB_WINDOW_NONE) return;
    const xcb_atom_t saveTargets = m_atoms->atom(QStringLiteral("SAVE_TARGETS"));
    const auto targets = m_server->targets(*m_server->content());
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_window, saveTargets, XCB_ATOM_ATOM,
                        32, static_cast<quint32>(targets.size()), targets.data());
    xcb_convert_selection(m_connection, m_window, m_manager, saveTargets, saveTargets,
                          m_server->since());
    const auto limit = Clock::now() + handOverLimit;
    while (m_connection && !m_handedOver && Clock::now() < limit) serve(limit);
}

} // namespace murlo
