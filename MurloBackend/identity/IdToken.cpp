#include "MurloBackend/identity/IdToken.h"

#include "MurloBackend/identity/Base64Url.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace murlo::backend {

namespace {

constexpr double skew = 60;             // seconds that clocks may differ
constexpr qsizetype longestName = 255;  // characters of a subject (OpenID Connect Core, section 2)
constexpr qsizetype longestEmail = 320; // 64 + "@" + 255

std::optional<QJsonObject> objectOf(const QByteArray& json) {
    const QJsonDocument document = QJsonDocument::fromJson(json);
    if (!document.isObject()) return std::nullopt;
    return document.object();
}

bool isFor(const QJsonValue& audiences, const QString& audience) {
    return audiences.isArray() ? audiences.toArray().contains(audience)
                               : audiences.isString() && audiences.toString() == audience;
}

/// Whether the claims hold at this time; the expiry is required.
bool areCurrent(const QJsonObject& claims, qint64 now) {
    const QJsonValue expiry = claims[QLatin1String("exp")];
    const QJsonValue beginning = claims[QLatin1String("nbf")];
    const auto time = static_cast<double>(now);
    if (!expiry.isDouble() || time >= expiry.toDouble() + skew) return false;
    return beginning.isUndefined() || (beginning.isDouble() && time >= beginning.toDouble() - skew);
}

bool isTrue(const QJsonValue& value) {
    return value.toBool() || value.toString() == QLatin1String("true");
}

} // namespace

std::optional<SignedToken> SignedToken::parse(const QByteArray& token) {
    if (token.size() > largestSize) return std::nullopt;
    const QList<QByteArray> pieces = token.split('.');
    if (pieces.size() != 3) return std::nullopt;
    const auto head = Base64Url::decode(pieces[0]);
    const auto payload = Base64Url::decode(pieces[1]);
    const auto signature = Base64Url::decode(pieces[2]);
    if (!head || !payload || !signature || signature->isEmpty()) return std::nullopt;
    const auto header = objectOf(*head);
    if (!header || header->contains(QLatin1String("crit"))) return std::nullopt;
    SignedToken result;
    result.m_algorithm = header->value(QLatin1String("alg")).toString();
    if (result.m_algorithm != QLatin1String("RS256") &&
        result.m_algorithm != QLatin1String("ES256"))
        return std::nullopt;
    const QJsonValue identifier = header->value(QLatin1String("kid"));
    if (!identifier.isUndefined() && !identifier.isString()) return std::nullopt;
    result.m_keyIdentifier = identifier.toString();
    result.m_signedText = pieces[0] + '.' + pieces[1];
    result.m_payload = *payload;
    result.m_signature = *signature;
    return result;
}

std::optional<QJsonObject> SignedToken::claims(const PublicKey& key) const {
    if (key.algorithm() != m_algorithm || !key.verifies(m_signedText, m_signature))
        return std::nullopt;
    return objectOf(m_payload);
}

std::optional<Identity> identityOf(const QJsonObject& claims, const TokenExpectation& expected,
                                   qint64 now) {
    const QString issuer = claims[QLatin1String("iss")].toString();
    if (issuer.isEmpty() || issuer != expected.issuer) return std::nullopt;
    if (!isFor(claims[QLatin1String("aud")], expected.audience)) return std::nullopt;
    if (!areCurrent(claims, now)) return std::nullopt;
    const QString subject = claims[QLatin1String("sub")].toString();
    const QString email = claims[QLatin1String("email")].toString();
    if (subject.isEmpty() || subject.size() > longestName) return std::nullopt;
    if (!email.contains(QLatin1Char('@')) || email.size() > longestEmail) return std::nullopt;
    if (!isTrue(claims[QLatin1String("email_verified")])) return std::nullopt;
    return Identity{issuer, subject, email};
}

QByteArray makeToken(const QJsonObject& claims, const PrivateKey& key,
                     const QString& keyIdentifier) {
    const auto piece = [](const QJsonObject& object) {
        return Base64Url::encode(QJsonDocument(object).toJson(QJsonDocument::Compact));
    };
    const QByteArray text = piece({{QStringLiteral("alg"), QStringLiteral("ES256")},
                                   {QStringLiteral("kid"), keyIdentifier},
                                   {QStringLiteral("typ"), QStringLiteral("JWT")}}) +
                            '.' + piece(claims);
    return text + '.' + Base64Url::encode(key.sign(text));
}

} // namespace murlo::backend
