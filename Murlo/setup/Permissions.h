#pragma once

#include "platform/EventTap.h"
#include "platform/MicrophoneAuthorization.h"

#include <QString>

namespace murlo {

class Accessibility;

/// The three things that dictation needs of the desktop: the microphone, the accessibility of other
/// programs, and their key events. Main thread.
class Permissions {
public:
    Permissions(MicrophoneAuthorization& microphone, Accessibility& accessibility, EventTap& tap)
        : m_microphone(microphone)
        , m_accessibility(accessibility)
        , m_tap(tap) {}

    [[nodiscard]] bool microphoneGranted() const;
    [[nodiscard]] bool accessibilityGranted() const;
    [[nodiscard]] bool inputMonitoringGranted() const;

    [[nodiscard]] MicrophoneStatus microphone() const { return m_microphone.status(); }
    [[nodiscard]] InputMonitoringAccess inputMonitoring() const { return m_tap.access(); }

    /// All three states in one line, for the log:
    /// "mic=authorized inputMonitoring=granted accessibility=true".
    [[nodiscard]] QString diagnostic() const;

private:
    MicrophoneAuthorization& m_microphone;
    Accessibility& m_accessibility;
    EventTap& m_tap;
};

} // namespace murlo
