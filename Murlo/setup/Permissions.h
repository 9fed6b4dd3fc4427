#pragma once

#include <QString>

namespace murlo {

class Accessibility;
class EventTap;
class MicrophoneAuthorization;

/// The three things without which nothing works: the microphone, the accessibility of other
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

    /// All three states in one line, for the log:
    /// "mic=authorized inputMonitoring=granted accessibility=true".
    [[nodiscard]] QString diagnostic() const;

private:
    MicrophoneAuthorization& m_microphone;
    Accessibility& m_accessibility;
    EventTap& m_tap;
};

} // namespace murlo
