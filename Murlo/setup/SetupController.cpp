#include "setup/SetupController.h"

#include "account/AccountManager.h"
#include "backend/BackendConfig.h"
#include "platform/Desktop.h"
#include "platform/LoginItem.h"
#include "settings/LoginItemSwitch.h"
#include "settings/Settings.h"
#include "setup/ModelDownload.h"
#include "setup/PermissionRequests.h"
#include "support/Log.h"

#include <QDir>

namespace murlo {

SetupController::SetupController(Partners with)
    : m_with(std::move(with)) {
    m_facts.hasTray = false;
    m_with.desktop.awaitTray(m_lifetime.guard([this] {
        m_facts.hasTray = true;
        Q_EMIT changed();
    }));
    const AccountManager& account = m_with.account;
    connect(&account, &AccountManager::signedIn, this, &SetupController::signedIn);
    connect(&account, &AccountManager::signInFailed, this, &SetupController::signInFailed);
    connect(&account, &AccountManager::signingInChanged, this, &SetupController::changed);
    const ModelDownload& download = m_with.download;
    connect(&download, &ModelDownload::progressed, this,
            [this](double progress, const Message& remaining) {
                m_facts.progress = progress;
                m_facts.remaining = remaining;
                Q_EMIT changed();
            });
    connect(&download, &ModelDownload::failed, this, &SetupController::downloadFailed);
    connect(&download, &ModelDownload::installed, this, &SetupController::modelInstalled);
}

SetupController::~SetupController() = default;

WizardFacts SetupController::facts() const {
    WizardFacts facts = m_facts;
    facts.provider = m_with.config.providerName;
    facts.accountIsHere = m_with.config.isLocal();
    facts.isSigningIn = m_with.account.isSigningIn();
    facts.trigger = m_with.settings.trigger();
    facts.pickTrigger = m_with.settings.pickTargetTrigger();
    return facts;
}

OnboardingFacts SetupController::progressFacts() const {
    return {m_with.account.isSignedIn(), hasModel(), m_with.permissions.allAnswered(),
            m_facts.readiness.hotkeyLive};
}

bool SetupController::hasModel() const {
    return m_with.settings.discoverModel().has_value();
}

void SetupController::begin(bool takesFocus) {
    const bool isSigningIn = m_with.account.isSigningIn();
    if (isSigningIn && m_window) {
        show(takesFocus);
        return;
    }
    QDir().mkpath(m_with.paths.models());
    const OnboardingFacts facts = progressFacts();
    if (facts.signedIn && facts.hasModel && onModelReady) onModelReady();
    const auto saved =
        onboardingPhase(m_with.settings.text(SettingKey::onboardingPhase).value_or(QString()));
    OnboardingPhase phase = OnboardingProgress::resume(saved, facts);
    if (isSigningIn) phase = OnboardingPhase::signIn;
    if (phase == OnboardingPhase::practicePick &&
        !m_with.permissions.permissions().accessibilityGranted())
        phase = OnboardingPhase::practice;
    enter(phase);
    m_facts.signOut = {};
    if (const auto reason = m_with.account.reasons().consume())
        m_facts.signOut = *reason == SignOutReason::revokedElsewhere ? Word::revokedElsewhere
                                                                     : Word::signupIncomplete;
    show(takesFocus);
    Q_EMIT changed();
}

void SetupController::enter(OnboardingPhase phase) {
    using Action = PhaseEntryAction;
    const PhaseEntryActions actions = entryActions(phase);
    m_facts.phase = phase;
    readPermissions();
    m_facts.failure = {};
    m_with.settings.set(SettingKey::onboardingPhase, rawValue(phase));
    if (m_window) m_window->turnTo(phase);
    m_with.includeOwnWindows(actions.testFlag(Action::includeOwnWindows));
    m_facts.practice = {};
    if (actions.testFlag(Action::resetPickSignals)) m_facts.practice.kind = Practice::pick;
    if (actions.testFlag(Action::armEscapeHatch))
        armEscapeHatch();
    else
        disarmEscapeHatch();
    if (actions.testFlag(Action::startPermissionsPolling))
        startPermissionsPolling();
    else
        stopPermissionsPolling();
    if (phase == OnboardingPhase::ready)
        m_facts.startsAtLogin =
            !m_with.settings.truth(SettingKey::loginItemDecided) || m_with.loginItem.isEnabled();
    if (actions.testFlag(Action::startDownload)) download();
    Q_EMIT changed();
}

void SetupController::show(bool takesFocus) {
    if (!m_window) m_window = m_with.makeWindow(*this);
    m_window->show(takesFocus);
}

void SetupController::act(WizardAction action) {
    switch (action) {
    case WizardAction::none:
    case WizardAction::importModel:
        return;
    case WizardAction::getStarted:
        enter(OnboardingProgress::afterWelcome(progressFacts()));
        return;
    case WizardAction::signIn:
        continueWithSignIn();
        return;
    case WizardAction::download:
        download();
        return;
    case WizardAction::next:
        if (m_facts.phase == OnboardingPhase::practice ||
            m_facts.phase == OnboardingPhase::practicePick)
            enter(OnboardingProgress::afterPractice(
                m_facts.phase, m_with.permissions.permissions().accessibilityGranted()));
        return;
    case WizardAction::finish:
        finish();
        return;
    case WizardAction::restart:
        if (onRestart) onRestart();
        return;
    }
}

void SetupController::continueWithSignIn() {
    if (!m_window || m_with.account.isSigningIn()) return;
    m_facts.failure = {};
    m_with.account.signIn();
    Q_EMIT changed();
}

void SetupController::signedIn() {
    if (hasModel() && onModelReady) onModelReady();
    if (onSignedIn) onSignedIn();
    m_facts.signOut = {};
    m_facts.failure = {};
    if (m_window &&
        (m_facts.phase == OnboardingPhase::signIn || m_facts.phase == OnboardingPhase::welcome)) {
        const auto next = OnboardingProgress::afterSignIn(progressFacts());
        if (next)
            enter(*next);
        else
            finish();
    }
    Q_EMIT changed();
}

void SetupController::goToPermissions() {
    enter(OnboardingProgress::afterModel(progressFacts()));
}

void SetupController::armEscapeHatch() {
    m_facts.showsEscapeHatch = false;
    m_escapeHatch = m_with.scheduler.after(escapeHatchDelay, [this] {
        m_facts.showsEscapeHatch = true;
        Q_EMIT changed();
    });
}

void SetupController::disarmEscapeHatch() {
    m_escapeHatch.cancel();
    m_facts.showsEscapeHatch = false;
}

void SetupController::practiceBoxFocused() {
    m_facts.practice.clicked = true;
    Q_EMIT changed();
}

void SetupController::practiceTextChanged(const QString& text) {
    m_facts.practice.text = text;
    Q_EMIT changed();
}

void SetupController::setDictationState(const DictationState& state) {
    m_facts.dictation = state.state;
    if (state.state == DictationState::listening) m_facts.practice.started = true;
    Q_EMIT changed();
}

void SetupController::setEngineReady(bool ready) {
    m_facts.readiness.engineReady = ready;
    Q_EMIT changed();
}

void SetupController::setHotkeyLive(bool live) {
    m_facts.readiness.hotkeyLive = live;
    Q_EMIT changed();
}

void SetupController::setHintsShown() {
    m_facts.practice.summoned = true;
    Q_EMIT changed();
}

void SetupController::setLastPickWasOurs(bool wasOurs) {
    if (wasOurs) m_facts.practice.picked = true;
    m_facts.practice.pickedElsewhere = !wasOurs;
    Q_EMIT changed();
}

void SetupController::finish() {
    teardown();
    m_with.settings.set(SettingKey::onboardingComplete, true);
    if (!m_with.settings.truth(SettingKey::loginItemDecided)) {
        setLoginItem(m_with.loginItem, true);
        m_with.settings.set(SettingKey::loginItemDecided, true);
    }
    m_with.settings.set(SettingKey::funnelOnboarded, true);
    if (onStage) onStage(QStringLiteral("onboarded"));
    if (onFinished) onFinished();
}

void SetupController::abandon() {
    if (!m_window) return;
    teardown();
    m_with.account.cancelSignIn();
    Log::write(QStringLiteral("setup: abandoned at ") + rawValue(m_facts.phase));
}

void SetupController::teardown() {
    m_with.includeOwnWindows(false);
    stopPermissionsPolling();
    disarmEscapeHatch();
    pauseDownload();
    if (!m_window) return;
    m_window->hide();
    // It may be the one that calls.
    m_with.scheduler.nextTurn([closed = std::shared_ptr<SetupWindow>(std::move(m_window))] {});
}

bool SetupController::isNeeded() const {
    const OnboardingFacts facts = progressFacts();
    return !facts.hasModel || !facts.allPermissionsGranted || !facts.signedIn;
}

bool SetupController::isUnfinished() const {
    return isNeeded() || !m_with.settings.truth(SettingKey::onboardingComplete);
}

void SetupController::askIfNeeded(std::function<void(bool)> answer) {
    m_settling = m_with.scheduler.after(0, [this, until = m_with.scheduler.uptime() + settlingLimit,
                                            answer = std::move(answer)] { settle(until, answer); });
}

void SetupController::settle(double until, const std::function<void(bool)>& answer) {
    const OnboardingFacts facts = progressFacts();
    const bool mayStillSettle =
        facts.hasModel && facts.signedIn && m_with.scheduler.uptime() < until;
    if (!isNeeded() || !mayStillSettle) {
        answer(isNeeded());
        return;
    }
    // The handle owns the running work, which copies what it still needs before it is replaced.
    auto again = [this, until, answer] { settle(until, answer); };
    m_settling = m_with.scheduler.after(settlingPeriod, std::move(again));
}

void SetupController::seedCompletionForExistingInstalls(Settings& settings) {
    if (!settings.holds(SettingKey::onboardingComplete) &&
        settings.truth(SettingKey::funnelOnboarded))
        settings.set(SettingKey::onboardingComplete, true);
}

} // namespace murlo
