#pragma once

#include "platform/Port.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <utility>

namespace murlo {

/// One thing on the clipboard: its formats (platform names) with their bytes, in the owner's order.
using PasteboardItem = QList<std::pair<QString, QByteArray>>;

/// The content of the clipboard, as far as it was read.
struct PasteboardSnapshot {
    QList<PasteboardItem> items;
    /// Formats that the owner offered but did not hand over in time, or that were too large to
    /// keep.
    QStringList unread;
};

/// A reading of the clipboard under way. Never blocks: ask what has arrived so far.
class PasteboardReading : public Port {
public:
    /// The change count of the content being read.
    [[nodiscard]] virtual qint64 changeCount() const = 0;
    /// Everything arrived, or the owner has timed out (0.3 s without an answer).
    [[nodiscard]] virtual bool isComplete() const = 0;
    /// Whether the content is known to have no plain text.
    [[nodiscard]] virtual bool lacksText() const = 0;
    /// What has arrived so far; formats still missing are listed in `unread`.
    [[nodiscard]] virtual PasteboardSnapshot snapshot() const = 0;
};

/// The system clipboard. Main thread. No call blocks on another program.
class Pasteboard : public QObject {
    Q_OBJECT

public:
    /// Grows by at least one whenever anybody, this application included, changes the clipboard.
    [[nodiscard]] virtual qint64 changeCount() const = 0;

    /// Replaces the content by plain text for the user to keep, as an ordinary content that a later
    /// `read` returns. Returns the change count after this write: `changeCount()` stays equal to it
    /// until somebody else writes.
    virtual qint64 setString(const QString& text) = 0;

    /// The same for a text that is soon removed again: it is marked so that clipboard histories
    /// ignore it, and a `read` returns nothing.
    virtual qint64 lendString(const QString& text) = 0;

    /// Replaces the content by the snapshot; an empty snapshot leaves the clipboard empty.
    virtual void write(const PasteboardSnapshot& snapshot) = 0;

    /// Starts to read every format now offered. A reading continues after a later `setString`:
    /// answers to requests already sent to the former owner still arrive.
    [[nodiscard]] virtual std::shared_ptr<PasteboardReading> read() = 0;

Q_SIGNALS:
    /// `changeCount` has changed because of another program.
    void changed();
};

} // namespace murlo
