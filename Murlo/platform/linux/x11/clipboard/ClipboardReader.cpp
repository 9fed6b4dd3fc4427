#include "platform/linux/x11/clipboard/ClipboardReader.h"

#include <algorithm>

namespace murlo {

namespace {

/// All formats of one content together. Larger than any copied picture, and small enough to be held
/// in memory twice.
constexpr qsizetype sizeLimit = qsizetype{256} << 20;

/// Timeout after which a silent owner is considered hung.
constexpr auto silenceLimit = std::chrono::milliseconds(300);

const QString targetsName = QStringLiteral("TARGETS");
const QString textName = QStringLiteral("UTF8_STRING");

} // namespace

ClipboardReading::ClipboardReading(qint64 changeCount)
    : m_changeCount(changeCount)
    , m_deadline(Clock::now() + silenceLimit) {}

ClipboardReading::Clock::time_point ClipboardReading::deadline() const {
    const std::lock_guard guard(m_lock);
    return m_deadline;
}

void ClipboardReading::progressed() {
    const std::lock_guard guard(m_lock);
    m_deadline = Clock::now() + silenceLimit;
}

bool ClipboardReading::isComplete() const {
    const std::lock_guard guard(m_lock);
    return m_finished || Clock::now() >= m_deadline;
}

bool ClipboardReading::lacksText() const {
    const std::lock_guard guard(m_lock);
    return m_finished && std::ranges::none_of(m_slots, [](const Slot& slot) {
               return slot.target == QLatin1String("UTF8_STRING") ||
                      slot.target.startsWith(QLatin1String("text/plain"));
           });
}

PasteboardSnapshot ClipboardReading::snapshot() const {
    const std::lock_guard guard(m_lock);
    PasteboardItem item;
    PasteboardSnapshot snapshot;
    bool isSecret = false;
    for (const Slot& slot : m_slots) {
        if (slot.target == secretHint)
            isSecret = !slot.format || slot.format->bytes.startsWith(secretMark);
        if (slot.format)
            item.append({slot.format->name(), slot.format->bytes});
        else
            snapshot.unread.append(slot.target);
    }
    if (isSecret) {
        snapshot.unread.clear();
        for (const Slot& slot : m_slots) snapshot.unread.append(slot.target);
    } else if (!item.isEmpty()) {
        snapshot.items.append(item);
    }
    return snapshot;
}

ClipboardReading::Slot* ClipboardReading::slot(const QString& target) {
    const auto it = std::find_if(m_slots.begin(), m_slots.end(),
                                 [&](const Slot& each) { return each.target == target; });
    return it == m_slots.end() ? nullptr : &*it;
}

void ClipboardReading::offer(const QStringList& targets) {
    const std::lock_guard guard(m_lock);
    std::vector<Slot> slots;
    for (const QString& target : targets) {
        Slot* const known = slot(target);
        slots.push_back({target, known ? std::move(known->format) : std::nullopt});
    }
    m_slots = std::move(slots);
}

void ClipboardReading::add(const QString& target) {
    const std::lock_guard guard(m_lock);
    if (!slot(target)) m_slots.push_back({target, std::nullopt});
}

void ClipboardReading::withdraw(const QString& target) {
    const std::lock_guard guard(m_lock);
    std::erase_if(m_slots, [&](const Slot& each) { return each.target == target; });
}

void ClipboardReading::store(const ClipboardFormat& format) {
    const std::lock_guard guard(m_lock);
    if (Slot* const known = slot(format.target)) known->format = format;
}

void ClipboardReading::fill(const ClipboardContent& content) {
    const std::lock_guard guard(m_lock);
    m_slots.clear();
    for (const ClipboardFormat& format : content.formats)
        m_slots.push_back({format.target, format});
    m_finished = true;
}

void ClipboardReading::finish() {
    const std::lock_guard guard(m_lock);
    m_finished = true;
}

ClipboardReader::ClipboardReader(const XcbConnection& connection)
    : m_connection(connection)
    , m_clipboard(connection.atom(QStringLiteral("CLIPBOARD")))
    , m_property(connection.atom(QStringLiteral("MURLO_CLIPBOARD"))) {}

void ClipboardReader::begin(std::shared_ptr<ClipboardReading> reading, xcb_timestamp_t time) {
    const auto job = std::make_shared<Job>();
    job->reading = std::move(reading);
    job->time = time;
    m_jobs.push_back(job);
    ask(job, targetsName);
}

void ClipboardReader::freeze() {
    for (const JobRef& job : m_jobs) {
        if (job->frozen) continue;
        job->frozen = true;
        if (job->targetsKnown) continue;
        // The list of targets has not arrived: request at least the text, and whether it is secret.
        ask(job, secretHint);
        ask(job, textName);
    }
}

void ClipboardReader::ownerGone() {
    while (!m_jobs.empty()) abandon(m_jobs.front());
}

xcb_window_t ClipboardReader::takeWindow() {
    if (!m_freeWindows.empty()) {
        const xcb_window_t window = m_freeWindows.back();
        m_freeWindows.pop_back();
        return window;
    }
    const xcb_window_t window = xcb_generate_id(m_connection);
    const quint32 mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(m_connection, 0, window, m_connection.root(), -1, -1, 1, 1, 0,
                      XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &mask);
    return window;
}

void ClipboardReader::ask(const JobRef& job, const QString& target) {
    if (!job->asked.insert(target).second) return;
    job->reading->add(target);
    ++job->open;
    const xcb_window_t window = takeWindow();
    m_requests.insert({window, {job, target, false, {}}});
    xcb_convert_selection(m_connection, window, m_clipboard, m_connection.atom(target), m_property,
                          job->time);
}

XcbProperty ClipboardReader::takeProperty(Requests::const_iterator it) {
    const auto& job = it->second.job;
    const quint32 words = job ? static_cast<quint32>((sizeLimit - job->kept) / 4 + 1) : 0;
    XcbProperty answer = m_connection.property(xcb_get_property(
        m_connection, 1, it->first, m_property, XCB_GET_PROPERTY_TYPE_ANY, 0, words));
    // The server deletes a property only when it was read to its end.
    if (answer.isCut()) xcb_delete_property(m_connection, it->first, m_property);
    if (job) job->reading->progressed();
    return answer;
}

void ClipboardReader::handleAnswer(const xcb_selection_notify_event_t& event) {
    const auto it = m_requests.find(event.requestor);
    if (it == m_requests.end()) return;
    const Request& request = it->second;
    const auto& job = request.job;
    const bool refused = event.property == XCB_ATOM_NONE;
    const XcbProperty answer = refused ? XcbProperty(nullptr) : takeProperty(it);
    if (answer.isRead() && answer.type() == m_connection.atom(QStringLiteral("INCR"))) {
        beginPieces(it, answer);
        return;
    }
    if (job && request.target == targetsName)
        readTargets(job, answer);
    else if (job && refused && !job->targetsKnown)
        job->reading->withdraw(request.target);
    else if (job && answer.isRead() && !answer.isCut())
        readWhole(request, answer);
    close(it);
}

void ClipboardReader::readTargets(const JobRef& job, const XcbProperty& answer) {
    QStringList targets;
    if (answer.bits() == 32) {
        const auto atoms = answer.numbers();
        for (const QString& name : m_connection.atoms().names({atoms.begin(), atoms.end()})) {
            if (!name.isEmpty() && !isProtocolTarget(name) && !targets.contains(name))
                targets.append(name);
        }
        job->targetsKnown = true;
        job->reading->offer(targets);
    } else {
        // No owner, or an old program that has only text and does not support TARGETS.
        job->reading->withdraw(targetsName);
        targets = {textName, QStringLiteral("STRING")};
    }
    if (job->frozen) return;
    for (const QString& target : targets) ask(job, target);
}

void ClipboardReader::readWhole(const Request& request, const XcbProperty& answer) {
    const QString type = m_connection.atoms().name(answer.type());
    if (isResourceType(type)) request.job->reading->withdraw(request.target);
    // The owner may announce a property without writing one.
    if (isResourceType(type) || answer.bits() == 0) return;
    const QByteArray bytes = answer.bytes();
    request.job->kept += bytes.size();
    request.job->reading->store({request.target, type, answer.bits(), bytes});
}

void ClipboardReader::beginPieces(Requests::iterator it, const XcbProperty& answer) {
    // Deleting the announcement has told the owner to send the first piece.
    Request& request = it->second;
    request.incremental = true;
    const auto leastSize = answer.numbers();
    if (!request.job || leastSize.empty()) return;
    if (leastSize.front() > sizeLimit - request.job->kept)
        release(request);
    else
        request.partial.bytes.reserve(leastSize.front());
}

void ClipboardReader::handleProperty(const xcb_property_notify_event_t& event) {
    const auto it = m_requests.find(event.window);
    // A complete answer (not INCR) is announced by a SelectionNotify event instead.
    if (it == m_requests.end() || event.atom != m_property || !it->second.incremental) return;
    Request& request = it->second;
    const XcbProperty answer = takeProperty(it);
    const QByteArray piece = answer.bytes();
    if (answer.isCut()) {
        if (request.job) release(request);
    } else if (piece.isEmpty()) {
        request.partial.target = request.target;
        if (request.job && answer.isRead()) request.job->reading->store(request.partial);
        close(it);
    } else {
        request.partial.type = m_connection.atoms().name(answer.type());
        request.partial.bits = answer.bits();
        request.partial.bytes.append(piece);
        request.job->kept += piece.size();
    }
}

void ClipboardReader::close(Requests::iterator it) {
    Request closed = std::move(it->second);
    m_freeWindows.push_back(it->first);
    m_requests.erase(it);
    if (closed.job) release(closed);
}

void ClipboardReader::release(Request& request) {
    request.partial.bytes.clear();
    const JobRef job = std::exchange(request.job, nullptr);
    if (--job->open > 0) return;
    job->reading->finish();
    std::erase(m_jobs, job);
}

void ClipboardReader::abandon(JobRef job) { // a copy: releasing a request may drop the caller's
    for (auto& [window, request] : m_requests) {
        if (request.job == job) release(request);
    }
}

void ClipboardReader::expire(Clock::time_point now) {
    const auto jobs = m_jobs;
    for (const JobRef& job : jobs) {
        // The reading was dropped by its holder, or the owner has timed out.
        if (job->reading.use_count() == 1 || now >= job->reading->deadline()) abandon(job);
    }
}

std::optional<ClipboardReader::Clock::time_point> ClipboardReader::deadline() const {
    std::optional<Clock::time_point> first;
    for (const JobRef& job : m_jobs) {
        if (!first || job->reading->deadline() < *first) first = job->reading->deadline();
    }
    return first;
}

} // namespace murlo
