#include "setup/PermissionWatch.h"

#include "setup/Permissions.h"
#include "support/Log.h"
#include "triggers/HotkeyMonitor.h"

namespace murlo {

namespace {
constexpr double pollInterval = 3.0; // seconds
} // namespace

void PermissionWatch::start() {
    if (m_permissions.inputMonitoringGranted()) m_hotkeys.start();
    if (!m_hotkeys.hasLiveTap()) m_poll = m_scheduler.every(pollInterval, [this] { tryAgain(); });
    Q_EMIT changed();
}

void PermissionWatch::tryAgain() {
    if (!m_permissions.inputMonitoringGranted()) return;
    if (!m_hotkeys.hasLiveTap()) {
        m_hotkeys.stop();
        m_hotkeys.start();
    }
    if (m_hotkeys.hasLiveTap()) {
        Log::write(QStringLiteral("permissions: all granted, hotkeys are live"));
        m_poll.cancel();
    }
    Q_EMIT changed();
}

} // namespace murlo
