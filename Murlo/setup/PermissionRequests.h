#pragma once

#include "setup/Permissions.h"

namespace murlo {

class Settings;

/// What the user has answered to the permissions, and asking for them. Main thread.
///
/// The accessibility of other programs may be declined: words go where the user types without it.
/// Declined, it counts as granted wherever something waits for the permissions. What the user has
/// switched on is switched on again at each start, since desktops forget it; what the user never
/// asked for is not.
class PermissionRequests {
public:
    PermissionRequests(const Permissions& permissions, MicrophoneAuthorization& microphone,
                       Accessibility& accessibility, EventTap& tap, Settings& settings)
        : m_permissions(permissions)
        , m_microphone(microphone)
        , m_accessibility(accessibility)
        , m_tap(tap)
        , m_settings(settings) {}

    [[nodiscard]] const Permissions& permissions() const { return m_permissions; }
    /// Nothing is in the way any more: all are granted, or declined where that is possible.
    [[nodiscard]] bool allAnswered() const;
    /// How many of the three are granted, 0 to 3; a declined one is not.
    [[nodiscard]] int grantedCount() const;
    /// The user does without the accessibility of other programs, and it is off.
    [[nodiscard]] bool accessibilityDeclined() const;

    /// The desktop asks the user, if it has a question for this. What came of it is seen when the
    /// permissions are read the next time.
    void requestMicrophone();
    /// Switches it on; takes an earlier refusal back.
    void requestAccessibility();
    void declineAccessibility();
    /// Asks for access to the keys. It touches no handler of those who listen to them already.
    void requestInputMonitoring();

    /// Once, at the program's start: switches on what the user had switched on.
    void restoreAccessibility();

private:
    const Permissions& m_permissions;
    MicrophoneAuthorization& m_microphone;
    Accessibility& m_accessibility;
    EventTap& m_tap;
    Settings& m_settings;
};

} // namespace murlo
