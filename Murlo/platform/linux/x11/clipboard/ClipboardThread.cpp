#include "platform/linux/x11/clipboard/ClipboardThread.h"

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
}

void ClipboardThread::connect() {
    auto connection = std::make_unique<XcbConnection>();
    if (!connection->isAlive()) {
        Log::write(QStringLiteral("clipboard: no X server"));
        return;
    }
    const auto* fixes = connection->extension(xcb_xfixes_id);
    if (!fixes || !connection->reply(xcb_xfixes_query_version_reply,
                                     xcb_xfixes_query_version(*connection, 5, 0))) {
        Log::write(QStringLiteral("clipboard: the X server has no XFixes"));
        return;
    }
    m_fixesNotify = fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    m_window = xcb_generate_id(*connection);
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(*connection, 0, m_window, connection->root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    m_clipboard = connection->atom(QStringLiteral("CLIPBOARD"));
    m_manager = connection->atom(QStringLiteral("CLIPBOARD_MANAGER"));
    xcb_xfixes_select_selection_input(*connection, m_window, m_clipboard,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    m_server = std::make_unique<ClipboardServer>(*connection);
    m_reader = std::make_unique<ClipboardReader>(*connection);
    m_connection = std::move(connection);
}

void ClipboardThread::serve(std::optional<Clock::time_point> limit) {
    // Handlers may send requests, and their round trips may leave events in xcb's queue, which
    // poll() does not see: block only after a round in which there was nothing to do.
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
                      {m_connection ? m_connection->descriptor() : -1, POLLIN, 0}};
    poll(files, 2, timeout);
    m_bell.silence();
}

bool ClipboardThread::drainEvents() {
    if (!m_connection) return false;
    xcb_flush(*m_connection);
    bool any = false;
    while (const auto event = m_connection->nextEventOrError()) {
        handle(*event);
        any = true;
    }
    if (m_connection->isAlive()) return any;
    Log::write(QStringLiteral("clipboard: the X server is gone"));
    m_reader->ownerGone();
    m_reader.reset();
    m_server.reset();
    m_connection.reset();
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
    // Our own change is the first event with the sequence number of that request: the server sends
    // it while it processes the request.
    if (m_change && static_cast<qint32>(event.full_sequence - m_change->first) >= 0) {
        m_server->adopt(std::exchange(m_change, std::nullopt)->second, change.selection_timestamp);
        m_ownCount = m_changeCount;
        return;
    }
    m_server->drop();
    if (change.subtype != XCB_XFIXES_SELECTION_EVENT_SET_SELECTION_OWNER) m_reader->ownerGone();
    m_foreignChange();
}

xcb_window_t ClipboardThread::ownerOf(xcb_atom_t selection) const {
    const auto answer = m_connection->reply(xcb_get_selection_owner_reply,
                                            xcb_get_selection_owner(*m_connection, selection));
    return answer ? answer->owner : xcb_window_t{XCB_WINDOW_NONE};
}

qint64 ClipboardThread::takeSelection(const ClipboardServer::Content& content) {
    if (!m_connection) return ++m_changeCount;
    m_reader->freeze();
    const auto request =
        xcb_set_selection_owner(*m_connection, content ? m_window : xcb_window_t{XCB_WINDOW_NONE},
                                m_clipboard, XCB_CURRENT_TIME);
    m_change = {request.sequence, content};
    // After this round trip, the notification of the change is in the event queue.
    std::ignore = ownerOf(m_clipboard);
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
    if (ownerOf(m_manager) == XCB_WINDOW_NONE) return;
    const xcb_atom_t saveTargets = m_connection->atom(QStringLiteral("SAVE_TARGETS"));
    const auto targets = m_server->targets(*m_server->content());
    xcb_change_property(*m_connection, XCB_PROP_MODE_REPLACE, m_window, saveTargets, XCB_ATOM_ATOM,
                        32, static_cast<quint32>(targets.size()), targets.data());
    xcb_convert_selection(*m_connection, m_window, m_manager, saveTargets, saveTargets,
                          m_server->since());
    const auto limit = Clock::now() + handOverLimit;
    while (m_connection && !m_handedOver && Clock::now() < limit) serve(limit);
}

} // namespace murlo
