#pragma once

#include <QDateTime>
#include <QJsonArray>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace murlo {

/// One delivered dictation.
struct HistoryEntry {
    QUuid id;
    QString text;
    QDateTime date; ///< when it was added; whole seconds survive the file
};

/// The history file's content, newest first.
[[nodiscard]] QJsonArray toJson(const QList<HistoryEntry>& entries);

/// The entries of such an array, in its order; nothing when any element is not an entry.
[[nodiscard]] std::optional<QList<HistoryEntry>> historyFromJson(const QJsonArray& array);

} // namespace murlo
