#pragma once

#include "platform/Scheduler.h"
#include "setup/SetupWindow.h"
#include "setup/WizardRecord.h"

#include <QObject>

#include <functional>
#include <memory>

namespace murlo {

class AccountManager;
class AudioInput;
class Desktop;
class EngineDevices;
class FileSystem;
class LoginItem;
class ModelDownload;
class Paths;
class PermissionRequests;
class Reachability;
class Settings;
struct BackendConfig;
struct SignInError;
struct SpeechModel;

/// The first-run wizard: its phases, what moves it from one to another, and what each brings about.
/// It lives as long as the program; its window comes and goes. Main thread.
class SetupController : public QObject {
    Q_OBJECT

public:
    static constexpr double pollPeriod = 1.2;      ///< seconds between looks at the permissions
    static constexpr double escapeHatchDelay = 25; ///< seconds until an exercise can be passed
    static constexpr double settlingLimit = 3;     ///< seconds that the desktop's answers may take
    static constexpr double settlingPeriod = 0.1;  ///< seconds between looks at them

    /// All must outlive it.
    struct Partners {
        Scheduler& scheduler;
        Settings& settings;
        const Paths& paths;
        AccountManager& account;
        const BackendConfig& config;
        const Reachability& reachability;
        PermissionRequests& permissions;
        ModelDownload& download;
        const EngineDevices& devices;
        const FileSystem& files;
        AudioInput& audioInput;
        LoginItem& loginItem;
        Desktop& desktop;
        std::function<std::unique_ptr<SetupWindow>(SetupController&)> makeWindow;
        /// Whether letters appear over Murlo's own text boxes.
        std::function<void(bool)> includeOwnWindows;
        bool isWayland = false; ///< what kind of session it is
    };
    explicit SetupController(Partners with);
    ~SetupController() override;

    std::function<void()> onModelReady; ///< a speech model is there: the engine can start
    std::function<void()> onSignedIn;   ///< at the end of a sign-in, before the wizard goes on
    std::function<void()> onFinished;
    std::function<void()> onRestart;                   ///< the user wants a fresh process
    std::function<void(const QString& stage)> onStage; ///< counts a stage ("onboarded")

    /// What the screen shows now.
    [[nodiscard]] WizardRecord record() const { return presentWizard(facts()); }
    [[nodiscard]] WizardFacts facts() const;
    [[nodiscard]] OnboardingPhase phase() const { return m_facts.phase; }
    [[nodiscard]] bool isOpen() const { return m_window != nullptr; }

    /// Starts the wizard, or goes on where it was left, and shows its window. During a sign-in
    /// it only shows the window.
    void begin(bool takesFocus = true);
    void enter(OnboardingPhase phase);
    void show(bool takesFocus = true);
    /// What one of the screen's controls does. `importModel` needs a file: see there.
    void act(WizardAction action);
    void grant(PermissionKind kind);
    /// Does without the accessibility of other programs.
    void declineAccessibility();
    /// Takes a model file of the user's instead of a download.
    void importModel(const QString& file);
    /// The user has closed the window: what was going on is paused, the phase stays.
    void abandon();

    void practiceBoxFocused();
    void practiceTextChanged(const QString& text);

    // What the program keeps in step
    void setDictationState(const DictationState& state);
    void setEngineReady(bool ready);
    void setHotkeyLive(bool live);
    void setHintsShown();                  ///< letters appeared
    void setLastPickWasOurs(bool wasOurs); ///< the box chosen last is in Murlo's own window

    /// Something is missing without which there is no dictation.
    [[nodiscard]] bool isNeeded() const;
    /// The same, or the wizard was never finished.
    [[nodiscard]] bool isUnfinished() const;
    /// At the program's start: answers with `isNeeded` once, at once if that is certain, else when
    /// the desktop's answers have come, 3 s later at the latest. Not during the call.
    void askIfNeeded(std::function<void(bool needed)> answer);
    /// At the program's start: who finished the wizard of a version that did not record it has
    /// finished it.
    static void seedCompletionForExistingInstalls(Settings& settings);

Q_SIGNALS:
    /// The record may be another.
    void changed();

private:
    [[nodiscard]] OnboardingFacts progressFacts() const;
    [[nodiscard]] bool hasModel() const;
    [[nodiscard]] SpeechModel model() const;
    void continueWithSignIn();
    void signedIn();
    void signInFailed(const SignInError& error);
    void download();
    void pauseDownload();
    void modelInstalled(const QString& path);
    void modelImported(const QString& path);
    void downloadFailed(const Message& why);
    void goToPermissions();
    void startPermissionsPolling();
    void stopPermissionsPolling();
    void pollPermissions();
    void readPermissions();
    void lookForMicrophone();
    void armEscapeHatch();
    void disarmEscapeHatch();
    void finish();
    void teardown();
    void settle(double until, const std::function<void(bool)>& answer);

    Partners m_with;
    WizardFacts m_facts; ///< those that are not read anew
    std::unique_ptr<SetupWindow> m_window;
    bool m_downloadIsOurs = false; ///< the download was begun here
    ScheduledWork m_poll;
    ScheduledWork m_escapeHatch;
    ScheduledWork m_settling;
    std::shared_ptr<void> m_inputObserver; ///< while permissions are shown
    Lifetime m_lifetime;
};

} // namespace murlo
