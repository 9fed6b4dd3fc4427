#pragma once

#include <QString>

namespace murlo {

class Settings;

/// Everything that an account has belongs to the backend it came from. Puts what the settings hold
/// of another address's account aside, and brings back what they hold of this one's; on another
/// address enhancement is off until its user switches it on, since texts go elsewhere then. Call it
/// once at the start, before anything reads the account. An empty address changes nothing.
void settleAccount(Settings& settings, const QString& address);

} // namespace murlo
