// The parts of the wizard that wait for something from outside: the model, a sign-in, permissions.

#include "MurloKit/FriendlyError.h"
#include "account/AccountManager.h"
#include "backend/BackendConfig.h"
#include "dictation/engine/EngineDevices.h"
#include "look/Words.h"
#include "platform/AudioEngine.h"
#include "platform/Reachability.h"
#include "settings/Settings.h"
#include "setup/ModelDownload.h"
#include "setup/ModelFolder.h"
#include "setup/PermissionRequests.h"
#include "setup/SetupController.h"
#include "support/Log.h"

namespace murlo {

void SetupController::signInFailed(const SignInError& error) {
    if (error.kind == SignInError::cancelled) {
        Q_EMIT changed();
        return;
    }
    Log::write(QStringLiteral("signin: ") +
               Words::english(error.message(m_with.config.providerName)));
    if (error.kind != SignInError::transport)
        m_facts.failure = Word::somethingWrong;
    else
        m_facts.failure = FriendlyError::message(
            m_with.reachability.isConnected() ? NetworkFailure::noHost : NetworkFailure::offline);
    Q_EMIT changed();
}

SpeechModel SetupController::model() const {
    // What has begun to come stays the choice, whatever a later measurement says.
    if (const auto begun = ModelDownload::begun(m_with.paths)) return *begun;
    return m_with.devices.speed().choice();
}

void SetupController::download() {
    if (m_with.download.isRunning()) return;
    m_facts.failure = {};
    m_facts.progress = 0;
    m_facts.remaining = Word::connecting;
    m_downloadIsOurs = true;
    m_with.download.start(model());
    Q_EMIT changed();
}

void SetupController::pauseDownload() {
    if (std::exchange(m_downloadIsOurs, false)) m_with.download.pause();
}

void SetupController::downloadFailed(const Message& why) {
    m_downloadIsOurs = false;
    if (m_facts.phase == OnboardingPhase::downloading) m_facts.failure = why;
    Q_EMIT changed();
}

void SetupController::modelInstalled(const QString& path) {
    const bool wasOurs = std::exchange(m_downloadIsOurs, false);
    if (!m_window || m_facts.phase != OnboardingPhase::downloading) return;
    // Without a choice the largest is taken, which may be another.
    if (wasOurs && m_with.settings.modelPath() != path)
        m_with.settings.set(SettingKey::modelPath, path);
    if (onModelReady) onModelReady();
    goToPermissions();
}

void SetupController::importModel(const QString& file) {
    pauseDownload();
    m_facts.failure = {};
    m_facts.progress = 0;
    m_facts.remaining = Word::oneMoment;
    Q_EMIT changed();
    using Imported = tl::expected<QString, Message>;
    m_with.scheduler.background([&scheduler = m_with.scheduler,
                                 folder = ModelFolder(m_with.files, m_with.paths), file,
                                 done = m_lifetime.guard([this](const Imported& imported) {
                                     if (imported)
                                         modelImported(*imported);
                                     else
                                         downloadFailed(imported.error());
                                 })] {
        scheduler.nextTurn(
            [done, imported = folder.importModel(file)]() mutable { done(imported); });
    });
}

void SetupController::modelImported(const QString& path) {
    m_with.settings.set(SettingKey::modelPath, path);
    if (!m_window || m_facts.phase != OnboardingPhase::downloading) return;
    if (onModelReady) onModelReady();
    goToPermissions();
}

void SetupController::readPermissions() {
    const PermissionRequests& requests = m_with.permissions;
    PermissionFacts& permissions = m_facts.permissions;
    permissions.microphone = requests.permissions().microphone();
    permissions.accessibility = requests.permissions().accessibilityGranted();
    permissions.accessibilityDeclined = requests.accessibilityDeclined();
    permissions.inputMonitoring = requests.permissions().inputMonitoring();
    permissions.isWayland = m_with.isWayland;
    permissions.granted = requests.grantedCount();
    permissions.allAnswered = requests.allAnswered();
}

void SetupController::startPermissionsPolling() {
    m_facts.secondsWaitingForTap = 0;
    m_poll = m_with.scheduler.every(pollPeriod, [this] { pollPermissions(); });
    m_inputObserver = m_with.audioInput.observeDefaultInput([this] { lookForMicrophone(); });
    lookForMicrophone();
}

void SetupController::stopPermissionsPolling() {
    m_poll.cancel();
    m_inputObserver.reset();
    m_facts.secondsWaitingForTap = 0;
}

void SetupController::pollPermissions() {
    const OnboardingFacts facts = progressFacts();
    if (facts.allPermissionsGranted && facts.hotkeyLive) {
        enter(OnboardingPhase::practice);
        return;
    }
    m_facts.secondsWaitingForTap =
        facts.allPermissionsGranted ? m_facts.secondsWaitingForTap + pollPeriod : 0;
    readPermissions();
    Q_EMIT changed();
}

void SetupController::lookForMicrophone() {
    // Opening a device may take seconds.
    m_with.scheduler.background([&scheduler = m_with.scheduler,
                                 engine = m_with.audioInput.makeEngine(),
                                 done = m_lifetime.guard([this](bool found) {
                                     m_facts.permissions.hasMicrophone = found;
                                     Q_EMIT changed();
                                 })]() mutable {
        const bool found = engine->inputFormat().sampleRate > 0;
        scheduler.nextTurn([done, found]() mutable { done(found); });
        engine.reset();
    });
}

void SetupController::grant(PermissionKind kind) {
    switch (kind) {
    case PermissionKind::microphone:
        m_with.permissions.requestMicrophone();
        break;
    case PermissionKind::accessibility:
        m_with.permissions.requestAccessibility();
        break;
    case PermissionKind::inputMonitoring:
        m_with.permissions.requestInputMonitoring();
        break;
    }
    readPermissions();
    Q_EMIT changed();
}

void SetupController::declineAccessibility() {
    m_with.permissions.declineAccessibility();
    readPermissions();
    Q_EMIT changed();
}

} // namespace murlo
