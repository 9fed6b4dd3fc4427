#pragma once

#include "platform/Pasteboard.h"
#include "platform/linux/x11/XcbConnection.h"
#include "platform/linux/x11/clipboard/ClipboardContent.h"

#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <vector>

namespace murlo {

/// One reading, filled by the clipboard's thread and looked at by the main thread.
class ClipboardReading : public PasteboardReading {
public:
    using Clock = std::chrono::steady_clock;

    explicit ClipboardReading(qint64 changeCount);

    [[nodiscard]] qint64 changeCount() const override { return m_changeCount; }
    [[nodiscard]] bool isComplete() const override;
    [[nodiscard]] bool lacksText() const override;
    [[nodiscard]] PasteboardSnapshot snapshot() const override;
    /// When the reading times out if the owner does not answer.
    [[nodiscard]] Clock::time_point deadline() const;

    // Called on the clipboard's thread:

    /// Sets the targets that the owner offers, in its order, and drops earlier answers for others.
    void offer(const QStringList& targets);
    /// Adds a target that is requested without being listed by the owner.
    void add(const QString& target);
    /// Removes a target that the owner does not have or that is not worth keeping.
    void withdraw(const QString& target);
    /// Stores the answer if its target is among those expected.
    void store(const ClipboardFormat& format);
    /// The owner has answered: restarts its timeout.
    void progressed();
    /// Stores a complete content at once.
    void fill(const ClipboardContent& content);
    void finish();

private:
    struct Slot {
        QString target;
        std::optional<ClipboardFormat> format;
    };

    Slot* slot(const QString& target);

    const qint64 m_changeCount;
    mutable std::mutex m_lock;
    Clock::time_point m_deadline;
    std::vector<Slot> m_slots;
    bool m_finished = false;
};

/// The requestor's side of the CLIPBOARD selection: requests every target from the owner at once
/// and collects the answers. Lives on the clipboard's thread and never blocks on another program. A
/// request stays with the owner it was sent to, even if the selection changes hands.
class ClipboardReader {
public:
    using Clock = std::chrono::steady_clock;

    explicit ClipboardReader(const XcbConnection& connection);

    /// Starts to read the current owner's content; `time` is the server time at which it became
    /// owner.
    void begin(std::shared_ptr<ClipboardReading> reading, xcb_timestamp_t time);
    /// The selection is about to change hands: sends the requests that must still reach this owner.
    void freeze();
    /// The owner is gone: abandons all requests that it has not answered.
    void ownerGone();

    /// The owner has answered a request, or refused it.
    void handleAnswer(const xcb_selection_notify_event_t& event);
    /// A property got a new value: perhaps the next piece of a large answer.
    void handleProperty(const xcb_property_notify_event_t& event);

    /// Ends the readings that have timed out.
    void expire(Clock::time_point now);
    /// When `expire` is due next.
    [[nodiscard]] std::optional<Clock::time_point> deadline() const;

private:
    /// A reading under way.
    struct Job {
        std::shared_ptr<ClipboardReading> reading;
        xcb_timestamp_t time;
        std::set<QString> asked;
        int open = 0; ///< requests without a final answer
        qsizetype kept = 0;
        bool targetsKnown = false;
        bool frozen = false;
    };
    using JobRef = std::shared_ptr<Job>;
    /// One request to the owner. Each has its own window, because some owners answer only one
    /// request at a time per window and drop the others.
    struct Request {
        JobRef job; ///< null: abandoned, but the transfer is completed so that the owner can finish
        QString target;
        bool incremental = false;
        ClipboardFormat partial;
    };
    using Requests = std::map<xcb_window_t, Request>;

    void ask(const JobRef& job, const QString& target);
    [[nodiscard]] xcb_window_t takeWindow();
    /// Reads and deletes the answer's property; a property above the size limit is deleted unread.
    [[nodiscard]] XcbProperty takeProperty(Requests::const_iterator it);
    void readTargets(const JobRef& job, const XcbProperty& answer);
    void readWhole(const Request& request, const XcbProperty& answer);
    void beginPieces(Requests::iterator it, const XcbProperty& answer);
    void close(Requests::iterator it);
    /// Detaches the request from its job, which finishes with its last request.
    void release(Request& request);
    void abandon(JobRef job);

    const XcbConnection& m_connection;
    xcb_atom_t m_clipboard;
    xcb_atom_t m_property;
    Requests m_requests;
    std::vector<JobRef> m_jobs;
    std::vector<xcb_window_t> m_freeWindows;
};

} // namespace murlo
