#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>

#include <memory>
#include <optional>

using EVP_PKEY = struct evp_pkey_st;

namespace murlo::backend {

/// The public half of a key that signs tokens: RSA of 2048 to 8192 bits for RS256, or P-256 for
/// ES256 (RFC 7518). The algorithm belongs to the key, so that no token can choose another. An
/// immutable value, for any thread.
///
/// libcrypto is used directly: a token library would want keys in PEM, which takes libcrypto as
/// well where they come as JWK, and Debian's libcpp-jwt brings a second JSON parser and knows no
/// list of audiences.
class PublicKey {
public:
    /// From a JSON web key (RFC 7517); nothing for other kinds, other uses and weak or invalid
    /// keys.
    [[nodiscard]] static std::optional<PublicKey> fromJwk(const QJsonObject& jwk);

    /// "RS256" or "ES256".
    [[nodiscard]] const QString& algorithm() const { return m_algorithm; }
    [[nodiscard]] bool verifies(const QByteArray& text, const QByteArray& signature) const;

private:
    friend class PrivateKey;
    PublicKey(std::shared_ptr<EVP_PKEY> key, QString algorithm)
        : m_key(std::move(key))
        , m_algorithm(std::move(algorithm)) {}

    std::shared_ptr<EVP_PKEY> m_key;
    QString m_algorithm;
};

/// A P-256 key that signs tokens by ES256. Immutable, for any thread.
class PrivateKey {
public:
    [[nodiscard]] static PrivateKey generate();
    /// Nothing unless the text is an unencrypted P-256 private key.
    [[nodiscard]] static std::optional<PrivateKey> fromPem(const QByteArray& pem);
    /// The key kept in a file, or a fresh one, which is put there with access for its owner alone.
    /// A file that holds no key is set aside under another name; where a file cannot be read or
    /// written, a fresh key lives in memory. Both with a line in the log. An empty path: a fresh
    /// one.
    [[nodiscard]] static PrivateKey keptIn(const QString& file);

    [[nodiscard]] QByteArray pem() const;
    [[nodiscard]] PublicKey publicKey() const { return {m_key, QStringLiteral("ES256")}; }
    /// The 64 bytes of a JSON web signature.
    [[nodiscard]] QByteArray sign(const QByteArray& text) const;

private:
    explicit PrivateKey(std::shared_ptr<EVP_PKEY> key)
        : m_key(std::move(key)) {}

    std::shared_ptr<EVP_PKEY> m_key;
};

} // namespace murlo::backend
