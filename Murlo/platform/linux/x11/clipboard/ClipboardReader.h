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
    /// When an owner that stays silent is given up.
    [[nodiscard]] Clock::time_point deadline() const;

    // For the clipboard's thread.

    /// What the owner says it has, in its order. Answers that came before and are not among these
    /// are forgotten.
    void offer(const QStringList& targets);
    /// A target that is asked for, whether it is there or not.
    void add(const QString& target);
    /// A target that is neither kept nor missing: the owner never had it, or it is of no use.
    void withdraw(const QString& target);
    /// Keeps the answer, if its target is one that the owner offers.
    void store(const ClipboardFormat& format);
    /// The owner is alive: its time limit begins anew.
    void progressed();
    /// Takes all of a content at once.
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

/// The requestor's side of the CLIPBOARD selection: asks its owner for everything at once and
/// collects the answers. Lives on the clipboard's thread and never waits for another program. A
/// request stays with the owner to whom it went, whoever takes the selection afterwards.
class ClipboardReader {
public:
    using Clock = std::chrono::steady_clock;

    explicit ClipboardReader(const XcbConnection& connection);

    /// Starts a reading of the present owner's content; `time` is the server's time since when that
    /// is the owner.
    void begin(std::shared_ptr<ClipboardReading> reading, xcb_timestamp_t time);
    /// The selection is about to change hands: what is to be asked of its owner must be asked now.
    void freeze();
    /// The owner is gone: what it has not answered will never be.
    void ownerGone();

    void handleAnswer(const xcb_selection_notify_event_t& event);
    /// A property got a new value: perhaps the next piece of a large answer.
    void handleProperty(const xcb_property_notify_event_t& event);

    /// Ends the readings whose time is up.
    void expire(Clock::time_point now);
    /// When `expire` has something to do next.
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
    /// One question to the owner. Each has a window of its own: there are owners that answer one
    /// question at a time per window and forget the others.
    struct Request {
        JobRef job; ///< null: given up, but seen to its end for the owner's sake
        QString target;
        bool incremental = false;
        ClipboardFormat partial;
    };
    using Requests = std::map<xcb_window_t, Request>;

    void ask(const JobRef& job, const QString& target);
    [[nodiscard]] xcb_window_t takeWindow();
    /// Reads and deletes the answer's property; what is larger than the request may keep is deleted
    /// unread.
    [[nodiscard]] XcbProperty takeProperty(Requests::const_iterator it);
    void readTargets(const JobRef& job, const XcbProperty& answer);
    void readWhole(const Request& request, const XcbProperty& answer);
    void beginPieces(Requests::iterator it, const XcbProperty& answer);
    void close(Requests::iterator it);
    /// Takes the request's job from it, which is finished when it was the last.
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
