#include "setup/PermissionRequests.h"

#include "platform/Accessibility.h"
#include "settings/Settings.h"

#include <tuple>

namespace murlo {

bool PermissionRequests::allAnswered() const {
    return m_permissions.microphoneGranted() &&
           (m_permissions.accessibilityGranted() || accessibilityDeclined()) &&
           m_permissions.inputMonitoringGranted();
}

int PermissionRequests::grantedCount() const {
    return static_cast<int>(m_permissions.microphoneGranted()) +
           static_cast<int>(m_permissions.accessibilityGranted()) +
           static_cast<int>(m_permissions.inputMonitoringGranted());
}

bool PermissionRequests::accessibilityDeclined() const {
    return m_settings.truth(SettingKey::accessibilityDeclined) &&
           !m_permissions.accessibilityGranted();
}

void PermissionRequests::requestMicrophone() {
    m_microphone.request([](bool) {}); // the next look at the status shows it
}

void PermissionRequests::requestAccessibility() {
    m_settings.set(SettingKey::accessibilityPromptShown, true);
    m_settings.remove(SettingKey::accessibilityDeclined);
    m_accessibility.requestTrust();
}

void PermissionRequests::declineAccessibility() {
    m_settings.set(SettingKey::accessibilityDeclined, true);
}

void PermissionRequests::requestInputMonitoring() {
    std::ignore = m_tap.requestAccess(); // as above
}

void PermissionRequests::restoreAccessibility() {
    if (m_settings.truth(SettingKey::accessibilityPromptShown) &&
        !m_settings.truth(SettingKey::accessibilityDeclined))
        m_accessibility.requestTrust();
}

} // namespace murlo
