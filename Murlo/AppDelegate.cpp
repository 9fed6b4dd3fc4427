#include "AppDelegate.h"

#include "CompositionRoot.h"
#include "support/Log.h"

#include <QCoreApplication>

namespace murlo {

namespace {
constexpr double permissionPoll = 3.0; // seconds
}

AppDelegate::AppDelegate(CompositionRoot& root, std::function<void()> quit)
    : m_root(root)
    , m_quit(std::move(quit)) {}

AppDelegate::~AppDelegate() {
    willTerminate();
}

void AppDelegate::didFinishLaunching() {
    Log::write(QStringLiteral("app: launching from ") + QCoreApplication::applicationFilePath());
    Log::write(QStringLiteral("permissions: ") + m_root.permissions.diagnostic());
    wireSystemEvents();
    wireHotkeys();
    wireSettings();
    wireController();
    m_root.server.start();
    startHotkeys();
}

void AppDelegate::wireController() {
    m_root.controller.onEngineStateChange = [this](const EngineState& state) {
        m_root.settingsModel.setEngineState(state);
    };
}

void AppDelegate::wireHotkeys() {
    HotkeyMonitor& hotkeys = m_root.hotkeys;
    hotkeys.onDoubleTap = [this](HotkeyAction action) { handleDoubleTap(action); };
    hotkeys.onTriggerUp = [this](HotkeyAction action, double held) {
        handleTriggerUp(action, held);
    };
    hotkeys.onEscape = [this] { m_root.controller.cancel(); };
}

void AppDelegate::wireSettings() {
    m_root.settingsModel.onEngineOptionChange = [this] { m_root.server.restart(); };
    m_root.settingsModel.onTriggerChange = [this] { m_root.hotkeys.reload(); };
}

void AppDelegate::wireSystemEvents() {
    SystemEvents& events = *m_root.platform.systemEvents;
    events.onTerminationSignal = m_quit;
    events.start();
    m_root.platform.singleInstance->onOpenedAgain = [this](const QStringList&) { handleReopen(); };
}

void AppDelegate::startHotkeys() {
    if (!m_root.settings.isSignedIn()) {
        Log::write(QStringLiteral("app: nobody is signed in, the triggers stay off"));
        return;
    }
    if (m_root.permissions.inputMonitoringGranted()) m_root.hotkeys.start();
    if (!m_root.hotkeys.hasLiveTap()) watchForPermissions();
    publishHotkeyState();
}

void AppDelegate::handleDoubleTap(HotkeyAction action) {
    DictationController& controller = m_root.controller;
    if (controller.isRecording()) {
        controller.finish();
        return;
    }
    if (action == HotkeyAction::pickTarget) return; // there are no hint letters yet
    if (controller.state().state == DictationState::listening) {
        controller.finish();
    } else {
        controller.begin(true);
    }
}

void AppDelegate::handleTriggerUp(HotkeyAction action, double heldSeconds) {
    if (action != HotkeyAction::dictate) return;
    DictationController& controller = m_root.controller;
    // A cold microphone may still be opening: letting go ends that, too.
    const bool begun =
        controller.isRecording() || controller.state().state == DictationState::listening;
    if (!begun || !controller.startedByHotkey()) return;
    // A short second tap leaves the recording running until the next double tap.
    if (m_root.settings.number(SettingKey::holdThreshold) <= heldSeconds) controller.finish();
}

void AppDelegate::watchForPermissions() {
    m_permissionWatcher = m_root.platform.scheduler->every(permissionPoll, [this] {
        if (!m_root.permissions.inputMonitoringGranted()) return;
        if (!m_root.hotkeys.hasTap()) m_root.hotkeys.start();
        if (!m_root.hotkeys.hasLiveTap()) {
            m_root.hotkeys.stop();
            m_root.hotkeys.start();
        }
        m_root.settingsModel.advancePermissionsTick();
        if (m_root.hotkeys.hasLiveTap()) {
            Log::write(QStringLiteral("permissions: all granted, hotkeys are live"));
            m_permissionWatcher.cancel();
        }
        publishHotkeyState();
    });
}

void AppDelegate::publishHotkeyState() {
    m_root.settingsModel.setHotkeyLive(m_root.hotkeys.hasTap() && m_root.hotkeys.hasLiveTap());
}

void AppDelegate::handleReopen() {
    // There is no window to bring forward yet; the log tells that the start was noticed.
    Log::write(QStringLiteral("app: opened again, already running"));
}

void AppDelegate::willTerminate() {
    if (std::exchange(m_terminated, true)) return;
    m_permissionWatcher.cancel();
    m_root.hotkeys.stop();
    m_root.server.shutdown();
    Log::write(QStringLiteral("app: terminated"));
}

} // namespace murlo
