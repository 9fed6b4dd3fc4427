#pragma once

#include "MurloBackend/identity/Identity.h"
#include "MurloBackend/identity/SignatureKeys.h"

#include <QByteArray>
#include <QJsonObject>

#include <functional>
#include <optional>

namespace murlo::backend {

/// The time, in seconds since 1970 (UTC). Any thread.
using Clock = std::function<qint64()>;

/// A token's outside: what chooses the key. Nothing here is trusted, and the claims cannot be read
/// before the signature is verified.
class SignedToken {
public:
    static constexpr qsizetype largestSize = qint64{16} * 1024; ///< bytes; real ones have 1 to 3 KB

    /// Nothing unless the token has three pieces of base64url, of which the first is a JSON object
    /// with the algorithm RS256 or ES256 and without critical extensions.
    [[nodiscard]] static std::optional<SignedToken> parse(const QByteArray& token);

    [[nodiscard]] const QString& algorithm() const { return m_algorithm; }
    /// Empty if the token names no key.
    [[nodiscard]] const QString& keyIdentifier() const { return m_keyIdentifier; }
    /// The claims, if this key signed them; nothing otherwise.
    [[nodiscard]] std::optional<QJsonObject> claims(const PublicKey& key) const;

private:
    QString m_algorithm;
    QString m_keyIdentifier;
    QByteArray m_signedText;
    QByteArray m_payload;
    QByteArray m_signature;
};

/// What a token must be.
struct TokenExpectation {
    QString issuer;   ///< to the character
    QString audience; ///< the client identifier, to the character
};

/// Who these claims (of a verified token) speak of, or nothing: another issuer or audience, expired
/// or not valid yet (with 60 s of skew), or without subject and verified e-mail address.
[[nodiscard]] std::optional<Identity> identityOf(const QJsonObject& claims,
                                                 const TokenExpectation& expected, qint64 now);

/// A token with these claims, signed by this key.
[[nodiscard]] QByteArray makeToken(const QJsonObject& claims, const PrivateKey& key,
                                   const QString& keyIdentifier);

} // namespace murlo::backend
