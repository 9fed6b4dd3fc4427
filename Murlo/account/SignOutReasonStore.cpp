#include "account/SignOutReasonStore.h"

#include "settings/Settings.h"

namespace murlo {

void SignOutReasonStore::record(SignOutReason reason) {
    m_defaults.set(SettingKey::signOutReason, rawValue(reason));
}

void SignOutReasonStore::clear() {
    m_defaults.remove(SettingKey::signOutReason);
}

std::optional<SignOutReason> SignOutReasonStore::consume() {
    const auto stored = m_defaults.text(SettingKey::signOutReason);
    clear();
    return stored ? signOutReason(*stored) : std::nullopt;
}

} // namespace murlo
