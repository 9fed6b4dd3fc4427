#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// The claims of an ID token that are read on this side. The signature is not checked here: the
/// backend does that before it trusts a claim.
struct IDTokenPayload {
    QString sub;                 ///< the account's stable identifier at its provider
    QString email;               ///< the account's address
    std::optional<QString> name; ///< of the person, if it is told as a text

    /// Reads the middle one of exactly three pieces between dots; nothing where there is no JSON
    /// object with "sub" and "email" as strings.
    [[nodiscard]] static std::optional<IDTokenPayload> decode(const QString& jwt);
};

} // namespace murlo
