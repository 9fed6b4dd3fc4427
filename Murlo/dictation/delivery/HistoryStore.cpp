#include "dictation/delivery/HistoryStore.h"

namespace murlo {

HistoryStore::HistoryStore(const Paths& paths, Scheduler& scheduler, SerialQueue& disk)
    : m_scheduler(scheduler)
    , m_file(paths.file(QStringLiteral("history.json")), QStringLiteral("history"))
    , m_disk(disk) {
    const QJsonDocument document = m_file.read([](const QJsonDocument& found) {
        return found.isArray() && historyFromJson(found.array()).has_value();
    });
    m_entries = historyFromJson(document.array()).value_or(QList<HistoryEntry>());
}

HistoryStore::~HistoryStore() {
    m_disk.sync([] {});
}

QStringList HistoryStore::recent() const {
    QStringList texts;
    for (const HistoryEntry& entry : m_entries.first(m_recent)) texts.append(entry.text);
    return texts;
}

void HistoryStore::add(const QString& text) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty()) return;
    m_entries.prepend({QUuid::createUuid(), trimmed, m_scheduler.now()});
    while (m_entries.size() > capacity) m_entries.removeLast();
    m_recent = std::min(m_recent + 1, mostRecent);
    m_disk.async(
        [file = m_file, entries = m_entries] { file.write(QJsonDocument(toJson(entries))); });
    Q_EMIT entriesChanged();
}

} // namespace murlo
