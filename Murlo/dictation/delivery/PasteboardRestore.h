#pragma once

#include "platform/Pasteboard.h"
#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <memory>
#include <optional>

namespace murlo {

/// Lends the clipboard to a dictated text and gives it back. What is on the clipboard is read while
/// the user is still speaking, so that the delivery waits for no other program. Main thread.
class PasteboardRestore : NonCopyable {
public:
    explicit PasteboardRestore(Pasteboard& pasteboard);
    /// Gives back what is still lent.
    ~PasteboardRestore();

    /// A dictation begins: reads the clipboard now, and again whenever it changes, for as long as
    /// somebody holds what is returned.
    [[nodiscard]] std::shared_ptr<void> prepare();

    /// Keeps what is on the clipboard and puts `text` there. False if no text was there before.
    [[nodiscard]] bool lend(const QString& text);
    /// Puts what was kept back, unless somebody else has written to the clipboard since `lend`.
    void giveBack();

private:
    /// What is known of the clipboard, read again if it has changed since.
    void refresh();
    void release();

    Pasteboard& m_pasteboard;
    int m_prepared = 0; ///< dictations that may still bring a text
    std::shared_ptr<PasteboardReading> m_reading;
    std::shared_ptr<PasteboardReading> m_former; ///< of the same content, and not whole
    std::shared_ptr<PasteboardReading> m_kept;   ///< what `giveBack` restores
    std::shared_ptr<PasteboardReading> m_keptFormer;
    std::optional<qint64> m_lentCount; ///< the change count of our own write, while lent
    QObject m_context;                 ///< of the connection
    Lifetime m_lifetime;
};

} // namespace murlo
