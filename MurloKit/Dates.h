#pragma once

#include <QDateTime>
#include <QString>
#include <QUuid>

#include <optional>

namespace murlo {

/// The one form in which dates and identities are written into files and requests.

/// ISO 8601 in UTC with whole seconds, cut down: "2026-11-16T20:53:14Z".
[[nodiscard]] inline QString isoSeconds(const QDateTime& date) {
    return date.toUTC().toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss")) + QLatin1Char('Z');
}

/// Reads exactly that form; anything else yields nothing.
[[nodiscard]] inline std::optional<QDateTime> fromIsoSeconds(const QString& text) {
    QDateTime date = QDateTime::fromString(text, QStringLiteral("yyyy-MM-ddTHH:mm:ss'Z'"));
    if (!date.isValid()) return std::nullopt;
    date.setTimeSpec(Qt::UTC);
    return date;
}

/// Upper-case hexadecimal in groups 8-4-4-4-12 joined by hyphens.
[[nodiscard]] inline QString uuidText(const QUuid& uuid) {
    return uuid.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace murlo
