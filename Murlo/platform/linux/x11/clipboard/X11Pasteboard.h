#pragma once

#include "platform/Pasteboard.h"

#include <QObject>

#include <memory>

namespace murlo {

class ClipboardThread;

/// The clipboard of an X11 session: its CLIPBOARD selection. A text that is lent is offered with
/// the mark that keeps it out of clipboard histories; a content of somebody else that carries the
/// mark is never kept, so its snapshot is empty. On exit, a content that this application owns is
/// handed to the session's clipboard manager.
class X11Pasteboard : public Pasteboard {
public:
    /// Connects to the display of the session (`DISPLAY`), on another thread.
    X11Pasteboard();
    ~X11Pasteboard() override;

    [[nodiscard]] qint64 changeCount() const override;
    qint64 setString(const QString& text) override;
    qint64 lendString(const QString& text) override;
    void write(const PasteboardSnapshot& snapshot) override;
    [[nodiscard]] std::shared_ptr<PasteboardReading> read() override;

private:
    QObject m_context; ///< receives the thread's calls on the main thread
    std::unique_ptr<ClipboardThread> m_thread;
};

} // namespace murlo
