#pragma once

#include "platform/Pasteboard.h"
#include "platform/Scheduler.h"

#include <memory>
#include <optional>

namespace murlo {

/// Lends the clipboard to a dictated text and gives it back. What is on the clipboard is read while
/// the user is still speaking, so that the delivery waits for no other program. Main thread.
class PasteboardRestore {
public:
    /// Takes the pasteboard's `onChange`.
    PasteboardRestore(Scheduler& scheduler, Pasteboard& pasteboard);
    /// Gives back what is still lent.
    ~PasteboardRestore();
    PasteboardRestore(const PasteboardRestore&) = delete;
    PasteboardRestore& operator=(const PasteboardRestore&) = delete;

    /// A dictation begins: reads the clipboard now, and again whenever it changes, until the
    /// dictation's text has come (`release`), but for 10 minutes at most.
    void prepare();
    /// The text of one prepared dictation has come.
    void release();

    /// Keeps what is on the clipboard and puts `text` there.
    void lend(const QString& text);
    /// Puts what was kept back, unless somebody else has written to the clipboard since `lend`.
    void giveBack();

private:
    /// What is known of the clipboard, read again if it has changed since.
    void refresh();

    Scheduler& m_scheduler;
    Pasteboard& m_pasteboard;
    int m_prepared = 0; ///< dictations whose text is still to come
    std::shared_ptr<PasteboardReading> m_reading;
    std::shared_ptr<PasteboardReading> m_kept; ///< what `giveBack` restores
    std::optional<qint64> m_lentCount;         ///< the change count of our own write, while lent
    ScheduledWork m_forget;
};

} // namespace murlo
