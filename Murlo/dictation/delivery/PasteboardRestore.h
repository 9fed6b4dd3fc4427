#pragma once

#include "platform/Pasteboard.h"
#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <memory>
#include <optional>

namespace murlo {

/// Lends the clipboard to a dictated text and gives it back. What is on the clipboard is read while
/// the user is still speaking, so that the delivery never blocks on another program. Main thread.
class PasteboardRestore : NonCopyable {
public:
    explicit PasteboardRestore(Pasteboard& pasteboard);
    /// Restores the clipboard if it is still lent.
    ~PasteboardRestore();

    /// A dictation begins: reads the clipboard now, and again whenever it changes, until the
    /// returned handle is destroyed.
    [[nodiscard]] std::shared_ptr<void> prepare();

    /// Keeps what is on the clipboard and puts `text` there. False if no text was there before.
    [[nodiscard]] bool lend(const QString& text);
    /// Restores the kept content, unless another program has written to the clipboard since `lend`.
    void giveBack();

private:
    /// Reads the clipboard again if it has changed, or if the last reading was incomplete.
    void refresh();
    void release();

    Pasteboard& m_pasteboard;
    int m_prepared = 0; ///< number of dictations that may still deliver a text
    std::shared_ptr<PasteboardReading> m_reading;
    std::shared_ptr<PasteboardReading> m_former; ///< incomplete, of the same content
    std::shared_ptr<PasteboardReading> m_kept;   ///< what `giveBack` restores
    std::shared_ptr<PasteboardReading> m_keptFormer;
    std::optional<qint64> m_lentCount; ///< the change count of our own write, while lent
    QObject m_context;                 ///< of the connection
    Lifetime m_lifetime;
};

} // namespace murlo
