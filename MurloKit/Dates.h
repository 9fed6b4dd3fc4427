#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace murlo {

/// The one form in which dates and identities are written into files and requests.

/// ISO 8601 in UTC, truncated to whole seconds: "2026-11-16T20:53:14Z".
[[nodiscard]] inline QString isoSeconds(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}

/// Reads exactly that form; anything else yields nothing.
[[nodiscard]] inline std::optional<QDateTime> fromIsoSeconds(const QString& text) {
    // Day and time apart: together they would be parsed as local time, where the hour skipped by
    // daylight saving is invalid.
    if (text.size() != 20 || text[10] != QLatin1Char('T') || text[19] != QLatin1Char('Z'))
        return std::nullopt;
    const auto day = QDate::fromString(text.left(10), QStringLiteral("yyyy-MM-dd"));
    const auto time = QTime::fromString(text.mid(11, 8), QStringLiteral("HH:mm:ss"));
    if (!day.isValid() || !time.isValid()) return std::nullopt;
    return QDateTime(day, time, Qt::UTC);
}

/// Upper-case hexadecimal in groups 8-4-4-4-12 joined by hyphens.
[[nodiscard]] inline QString uuidText(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace murlo
