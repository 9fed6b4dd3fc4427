#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUuid>

namespace murlo {

/// One line for the maker about a failure, without anything that was dictated.
struct ErrorReport {
    static constexpr int longestKind = 64;     ///< UTF-16 code units
    static constexpr int longestMessage = 512; ///< UTF-16 code units

    QUuid id;           ///< the record's identity
    QString kind;       ///< machine-readable, "transcribe_failed"
    QString message;    ///< for people
    QDateTime clientTs; ///< when it was recorded, whole seconds
    QString appVersion; ///< Murlo's

    /// A record with a new identity; kind and message lose whole characters at their end until they
    /// are within their limits.
    [[nodiscard]] static ErrorReport report(const QString& kind, const QString& message,
                                            const QString& appVersion, const QDateTime& now);
    [[nodiscard]] QJsonObject toJson() const;
};

} // namespace murlo
