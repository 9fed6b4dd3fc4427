#include "backend/Replies.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace murlo::Replies {

namespace {

std::optional<QJsonObject> object(const QByteArray& body) {
    const QJsonDocument document = QJsonDocument::fromJson(body);
    if (!document.isObject()) return std::nullopt;
    return document.object();
}

} // namespace

std::optional<QString> text(const QByteArray& body, const QString& member) {
    const auto reply = object(body);
    if (!reply || !reply->value(member).isString()) return std::nullopt;
    return reply->value(member).toString();
}

std::optional<int> accepted(const QByteArray& body) {
    const auto reply = object(body);
    if (!reply) return std::nullopt;
    const QJsonValue count = reply->value(QStringLiteral("accepted"));
    const double number = count.toDouble(0.5);
    const bool fits = number >= std::numeric_limits<int>::min() &&
                      number <= std::numeric_limits<int>::max() && std::trunc(number) == number;
    if (!count.isDouble() || !fits) return std::nullopt;
    return static_cast<int>(number);
}

std::optional<std::optional<QByteArray>> settings(const QByteArray& body) {
    const auto reply = object(body);
    if (!reply) return std::nullopt;
    const QJsonValue record = reply->value(QStringLiteral("settings"));
    if (record.isUndefined() || record.isNull()) return std::optional<QByteArray>();
    if (!record.isObject()) return std::nullopt;
    return QJsonDocument(record.toObject()).toJson(QJsonDocument::Compact);
}

std::optional<ReleaseInfo> release(const QByteArray& body) {
    const auto reply = object(body);
    return reply ? ReleaseInfo::fromJson(*reply) : std::nullopt;
}

} // namespace murlo::Replies
