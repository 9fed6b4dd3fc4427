#pragma once

#include "MurloKit/HistoryEntry.h"
#include "platform/Scheduler.h"
#include "support/JsonFile.h"
#include "support/Paths.h"

#include <QObject>

namespace murlo {

/// Every delivered dictation, newest first, kept in "history.json" in the support folder. Main
/// thread; the file is written on the disk queue, from a copy of the list made at each change.
class HistoryStore : public QObject {
    Q_OBJECT

public:
    /// The most entries that `add` leaves in the list.
    static constexpr int capacity = 500;
    static constexpr qsizetype mostRecent = 10;

    /// Loads the file. The destructor waits for pending writes.
    HistoryStore(const Paths& paths, Scheduler& scheduler, SerialQueue& disk);
    ~HistoryStore() override;

    [[nodiscard]] const QList<HistoryEntry>& entries() const { return m_entries; }
    /// The texts added since the program started, at most ten, newest first: for the menu.
    [[nodiscard]] QStringList recent() const;

    /// Adds a text at the front, trimmed; a blank one adds nothing.
    void add(const QString& text);

Q_SIGNALS:
    /// The list has changed; it is not written yet.
    void entriesChanged();

private:
    Scheduler& m_scheduler;
    JsonFile m_file;
    SerialQueue& m_disk;
    QList<HistoryEntry> m_entries;
    qsizetype m_recent = 0; ///< number of texts that `recent` returns
};

} // namespace murlo
