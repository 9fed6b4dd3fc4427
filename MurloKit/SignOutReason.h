#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// Why an account was signed out although its user had not asked for it.
enum class SignOutReason {
    revokedElsewhere, ///< the backend no longer takes the key
    signupIncomplete  ///< the backend refused the sign-up that had been put off
};

/// The reason as it is stored.
[[nodiscard]] inline QString rawValue(SignOutReason reason) {
    return reason == SignOutReason::revokedElsewhere ? QStringLiteral("revokedElsewhere")
                                                     : QStringLiteral("signupIncomplete");
}

/// Reads what `rawValue` has written; anything else yields nothing.
[[nodiscard]] inline std::optional<SignOutReason> signOutReason(const QString& raw) {
    for (const auto reason : {SignOutReason::revokedElsewhere, SignOutReason::signupIncomplete})
        if (raw == rawValue(reason)) return reason;
    return std::nullopt;
}

} // namespace murlo
