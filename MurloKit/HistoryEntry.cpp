#include "MurloKit/HistoryEntry.h"

#include "MurloKit/Dates.h"

#include <QJsonObject>

namespace murlo {

namespace {
const QLatin1String idKey("id");
const QLatin1String textKey("text");
const QLatin1String dateKey("date");
} // namespace

QJsonArray toJson(const QList<HistoryEntry>& entries) {
    QJsonArray array;
    for (const HistoryEntry& entry : entries) {
        array.append(QJsonObject{
            {idKey, uuidText(entry.id)}, {textKey, entry.text}, {dateKey, isoSeconds(entry.date)}});
    }
    return array;
}

std::optional<QList<HistoryEntry>> historyFromJson(const QJsonArray& array) {
    QList<HistoryEntry> entries;
    for (const auto element : array) {
        const QJsonObject object = element.toObject();
        const QUuid id = QUuid::fromString(object.value(idKey).toString());
        const auto date = fromIsoSeconds(object.value(dateKey).toString());
        if (id.isNull() || !object.value(textKey).isString() || !date) return std::nullopt;
        entries.append({id, object.value(textKey).toString(), *date});
    }
    return entries;
}

} // namespace murlo
