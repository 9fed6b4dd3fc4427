#include "setup/Permissions.h"

#include "platform/Accessibility.h"

namespace murlo {

namespace {

QString word(MicrophoneStatus status) {
    switch (status) {
    case MicrophoneStatus::notDetermined:
        return QStringLiteral("notDetermined");
    case MicrophoneStatus::restricted:
        return QStringLiteral("restricted");
    case MicrophoneStatus::denied:
        return QStringLiteral("denied");
    case MicrophoneStatus::authorized:
        return QStringLiteral("authorized");
    }
    return QStringLiteral("unknown");
}

QString word(InputMonitoringAccess access) {
    switch (access) {
    case InputMonitoringAccess::granted:
        return QStringLiteral("granted");
    case InputMonitoringAccess::denied:
        return QStringLiteral("denied");
    case InputMonitoringAccess::unknown:
        return QStringLiteral("unknown/notDetermined");
    }
    return QStringLiteral("other");
}

} // namespace

bool Permissions::microphoneGranted() const {
    return m_microphone.status() == MicrophoneStatus::authorized;
}

bool Permissions::accessibilityGranted() const {
    return m_accessibility.isTrusted();
}

bool Permissions::inputMonitoringGranted() const {
    return m_tap.access() == InputMonitoringAccess::granted;
}

QString Permissions::diagnostic() const {
    return QStringLiteral("mic=%1 inputMonitoring=%2 accessibility=%3")
        .arg(word(m_microphone.status()), word(m_tap.access()),
             accessibilityGranted() ? QStringLiteral("true") : QStringLiteral("false"));
}

} // namespace murlo
