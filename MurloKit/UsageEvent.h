#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QUuid>

#include <optional>

namespace murlo {

/// One delivered dictation, without a word of it.
struct UsageEvent {
    QUuid id; ///< the record's identity
    QString type = QStringLiteral("dictation");
    QDateTime clientTs;               ///< when it was recorded, whole seconds
    double durationS = 0;             ///< seconds of the recorded clip
    int wordCount = 0;                ///< of the delivered text
    std::optional<QString> targetApp; ///< identifier of the receiving application
    QString appVersion;               ///< Murlo's

    /// A record with a new identity.
    [[nodiscard]] static UsageEvent dictation(double durationS, int wordCount,
                                              const std::optional<QString>& targetApp,
                                              const QString& appVersion, const QDateTime& now);
    [[nodiscard]] QJsonObject toJson() const;
};

} // namespace murlo
