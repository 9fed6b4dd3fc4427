#pragma once

#include <QByteArray>
#include <QString>

namespace murlo {

/// The proof that the one who redeems an authorisation code is the one who asked for it (RFC 7636,
/// method S256). Made afresh for each attempt.
struct PKCE {
    QString verifier;  ///< 43 characters of base64url; the secret
    QString challenge; ///< SHA-256 of the verifier in base64url, 43 characters

    /// From the system's random source. Any thread.
    [[nodiscard]] static PKCE make();
    /// From these bytes instead, of which a verifier has 32.
    [[nodiscard]] static PKCE fromBytes(const QByteArray& bytes);
};

} // namespace murlo
