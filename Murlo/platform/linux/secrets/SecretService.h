#pragma once

#include <QString>

namespace murlo::SecretService {

// Questions to the session bus that QtKeychain does not ask. They block, each call for at most
// `callLimitMilliseconds`: for the keyring's thread.

constexpr int callLimitMilliseconds = 2000;

/// Whether some keyring runs in this session, or would be started by the bus.
[[nodiscard]] bool isThere();

/// Whether the secret service hides what it has on an account: the item itself or the default
/// collection is locked. QtKeychain reports a prompt for the password that was dismissed as a
/// missing item. False where KWallet holds the secrets, which reports that as an error.
[[nodiscard]] bool isLocked(const QString& service, const QString& account);

} // namespace murlo::SecretService
