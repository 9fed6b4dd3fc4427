#include "MurloKit/IDTokenPayload.h"

#include "MurloKit/Base64Url.h"

#include <QJsonDocument>
#include <QJsonObject>

namespace murlo {

std::optional<IDTokenPayload> IDTokenPayload::decode(const QString& jwt) {
    const QStringList pieces = jwt.split(QLatin1Char('.'), Qt::SkipEmptyParts);
    if (pieces.size() != 3) return std::nullopt;
    // Both alphabets are read: some providers write the one, some the other.
    QString middle = pieces[1];
    middle.replace(QLatin1Char('+'), QLatin1Char('-')).replace(QLatin1Char('/'), QLatin1Char('_'));
    const auto bytes = fromBase64Url(middle.toUtf8());
    if (!bytes) return std::nullopt;
    const QJsonObject claims = QJsonDocument::fromJson(*bytes).object();
    const QJsonValue sub = claims.value(QStringLiteral("sub"));
    const QJsonValue email = claims.value(QStringLiteral("email"));
    if (!sub.isString() || !email.isString()) return std::nullopt;
    IDTokenPayload payload{sub.toString(), email.toString(), {}};
    const QJsonValue name = claims.value(QStringLiteral("name"));
    if (name.isString()) payload.name = name.toString();
    return payload;
}

} // namespace murlo
