#pragma once

#include <QString>

namespace murlo::SecretService {

// What QtKeychain does not see to. The calls block, each question to the session bus for at most
// `callLimitMilliseconds`: for the keyring's thread.

constexpr int callLimitMilliseconds = 2000;

/// Whether there is a session bus that answers.
[[nodiscard]] bool hasBus();

/// Whether some keyring runs on this desktop, or would be started by the bus.
[[nodiscard]] bool isThere();

/// Readies libsecret, which QtKeychain uses, for the service that runs now: it would go on with a
/// session of one that has ended, and end this program together with the session bus.
void prepareLibrary();

/// Whether the secret service hides what it has on an account: the item itself or the default
/// collection is locked. QtKeychain reports a prompt for the password that was dismissed as a
/// missing item. False where KWallet holds the secrets, which reports that as an error.
[[nodiscard]] bool isLocked(const QString& service, const QString& account);

} // namespace murlo::SecretService
