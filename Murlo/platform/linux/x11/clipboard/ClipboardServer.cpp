#include "platform/linux/x11/clipboard/ClipboardServer.h"

#include <algorithm>
#include <cstring>

namespace murlo {

namespace {

constexpr auto transferPatience = std::chrono::seconds(10);
constexpr qsizetype preferredPiece = 1 << 20;

/// Server times are 32 bits wide and wrap around every 49 days.
bool isBefore(xcb_timestamp_t a, xcb_timestamp_t b) {
    return static_cast<qint32>(a - b) < 0;
}

} // namespace

ClipboardServer::ClipboardServer(const XcbConnection& connection)
    : m_connection(connection)
    // In units of four bytes, less the request's own header.
    , m_pieceSize(std::min<qsizetype>(
          preferredPiece, xcb_get_maximum_request_length(connection) * qsizetype{4} - 64)) {}

void ClipboardServer::adopt(Content content, xcb_timestamp_t since) {
    // A slow program may request the text after the clipboard was given back, with the timestamp of
    // the paste key: it must get what was on the clipboard at that time.
    const bool keep = m_current.content && m_current.content->isLent && content;
    m_previous = keep ? std::move(m_current) : Period{};
    m_current = {std::move(content), since};
}

void ClipboardServer::drop() {
    m_current = {};
    m_previous = {};
}

const ClipboardServer::Period* ClipboardServer::periodAt(xcb_timestamp_t time) const {
    if (!m_current.content) return nullptr;
    if (time == XCB_CURRENT_TIME || !isBefore(time, m_current.since)) return &m_current;
    return m_previous.content && !isBefore(time, m_previous.since) ? &m_previous : nullptr;
}

QList<xcb_atom_t> ClipboardServer::targets(const ClipboardContent& content) {
    QStringList names{QStringLiteral("TARGETS"), QStringLiteral("TIMESTAMP"),
                      QStringLiteral("MULTIPLE")};
    for (const ClipboardFormat& format : content.formats) names.append(format.target);
    return m_connection.atoms().atoms(names);
}

void ClipboardServer::handleRequest(const xcb_selection_request_event_t& request) {
    xcb_selection_notify_event_t answer{};
    answer.response_type = XCB_SELECTION_NOTIFY;
    answer.time = request.time;
    answer.requestor = request.requestor;
    answer.selection = request.selection;
    answer.target = request.target;
    // Obsolete clients pass no property; the target's name is used then.
    const xcb_atom_t property = request.property ? request.property : request.target;
    const Period* period = periodAt(request.time);
    bool done = false;
    if (period && request.target == m_connection.atom(QStringLiteral("MULTIPLE")))
        done = request.property != XCB_ATOM_NONE &&
               convertMultiple(*period, request.requestor, property);
    else if (period)
        done = convert(*period, request.requestor, request.target, property);
    answer.property = done ? property : xcb_atom_t{XCB_ATOM_NONE};
    char event[32] = {};
    std::memcpy(event, &answer, sizeof answer);
    xcb_send_event(m_connection, 0, request.requestor, XCB_EVENT_MASK_NO_EVENT, event);
}

bool ClipboardServer::convertMultiple(const Period& period, xcb_window_t window,
                                      xcb_atom_t property) {
    const XcbProperty wanted = m_connection.property(window, property, XCB_GET_PROPERTY_TYPE_ANY);
    if (wanted.bits() != 32) return false;
    auto pairs = wanted.numbers();
    const xcb_atom_t multiple = m_connection.atom(QStringLiteral("MULTIPLE"));
    for (size_t i = 0; i + 1 < pairs.size(); i += 2) {
        const bool done = pairs[i] != multiple && pairs[i + 1] != XCB_ATOM_NONE &&
                          convert(period, window, pairs[i], pairs[i + 1]);
        if (!done) pairs[i + 1] = XCB_ATOM_NONE;
    }
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property, wanted.type(), 32,
                        static_cast<quint32>(pairs.size()), pairs.data());
    return true;
}

bool ClipboardServer::convert(const Period& period, xcb_window_t window, xcb_atom_t target,
                              xcb_atom_t property) {
    const auto words = [&](xcb_atom_t type, const void* data, size_t count) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property, type, 32,
                            static_cast<quint32>(count), data);
        return true;
    };
    if (target == m_connection.atom(QStringLiteral("TARGETS"))) {
        const QList<xcb_atom_t> all = targets(*period.content);
        return words(XCB_ATOM_ATOM, all.data(), static_cast<size_t>(all.size()));
    }
    if (target == m_connection.atom(QStringLiteral("TIMESTAMP")))
        return words(XCB_ATOM_INTEGER, &period.since, 1);
    for (const ClipboardFormat& format : period.content->formats) {
        if (m_connection.atom(format.target) != target) continue;
        send(window, property, m_connection.atom(format.type), format.bits, format.bytes);
        return true;
    }
    return false;
}

void ClipboardServer::send(xcb_window_t window, xcb_atom_t property, xcb_atom_t type, int bits,
                           const QByteArray& bytes) {
    if (bytes.size() <= m_pieceSize) {
        xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property, type,
                            static_cast<quint8>(bits),
                            static_cast<quint32>(bytes.size() * 8 / bits), bytes.constData());
        return;
    }
    watch(window, true);
    std::erase_if(m_transfers, [&](const Transfer& transfer) {
        return transfer.window == window && transfer.property == property;
    });
    m_transfers.push_back({window, property, type, bits, bytes, 0, Clock::now()});
    const auto leastSize = static_cast<quint32>(bytes.size());
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, window, property,
                        m_connection.atom(QStringLiteral("INCR")), 32, 1, &leastSize);
}

void ClipboardServer::handleDeleted(const xcb_property_notify_event_t& event) {
    const auto it = std::find_if(m_transfers.begin(), m_transfers.end(), [&](const Transfer& each) {
        return each.window == event.window && each.property == event.atom;
    });
    if (it == m_transfers.end()) return;
    const qsizetype unit = it->bits / 8;
    const qsizetype size = std::min(m_pieceSize / unit * unit, it->bytes.size() - it->sent);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, it->window, it->property, it->type,
                        static_cast<quint8>(it->bits), static_cast<quint32>(size / unit),
                        it->bytes.constData() + it->sent);
    it->sent += size;
    it->progressed = Clock::now();
    if (size > 0) return;
    // The empty piece just sent terminates the INCR transfer.
    m_transfers.erase(it);
    watch(event.window, false);
}

void ClipboardServer::watch(xcb_window_t window, bool wanted) {
    const bool busy = std::any_of(m_transfers.begin(), m_transfers.end(),
                                  [&](const Transfer& each) { return each.window == window; });
    if (!wanted && busy) return;
    const quint32 mask = wanted ? XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY
                                : XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(m_connection, window, XCB_CW_EVENT_MASK, &mask);
}

void ClipboardServer::forgetWindow(xcb_window_t window) {
    std::erase_if(m_transfers, [&](const Transfer& each) { return each.window == window; });
}

void ClipboardServer::expire(Clock::time_point now) {
    std::erase_if(m_transfers, [&](const Transfer& transfer) {
        return now >= transfer.progressed + transferPatience;
    });
}

std::optional<ClipboardServer::Clock::time_point> ClipboardServer::deadline() const {
    std::optional<Clock::time_point> first;
    for (const Transfer& transfer : m_transfers) {
        const auto due = transfer.progressed + transferPatience;
        if (!first || due < *first) first = due;
    }
    return first;
}

} // namespace murlo
