#pragma once

#include "menubar/StatusItemController.h"
#include "platform/Port.h"
#include "platform/Scheduler.h"
#include "setup/PermissionWatch.h"
#include "triggers/TriggerPolicy.h"
#include "windows/EngineWindow.h"
#include "windows/QuitRule.h"
#include "windows/SettingsWindow.h"
#include "windows/SignInNote.h"

#include <functional>

namespace murlo {

struct CompositionRoot;

/// Connects the subsystems' callbacks, and defines the order of start and end. Main thread.
class AppDelegate : NonCopyable {
public:
    /// `quit` ends the event loop.
    AppDelegate(CompositionRoot& root, std::function<void()> quit);
    ~AppDelegate();

    /// Wires everything, then starts the engine and, for a signed-in account, the triggers.
    void didFinishLaunching();
    /// The user has started Murlo again while it runs.
    void handleReopen();
    /// How and when the program ends.
    [[nodiscard]] QuitRule& quitRule() { return m_quitRule; }
    /// Stops the triggers and the engine. Once; later calls do nothing.
    void willTerminate();

private:
    void wireController();
    void wireHotkeys();
    void wireSettings();
    void wireAccount();
    void wireSystemEvents();
    void openedAgain(const QStringList& arguments);
    void showSignInNote();
    void showModels();
    void logOut();
    void wireStatusItem();
    void listenForProbeRequests();
    void toggleDictation();
    void openLog();
    [[nodiscard]] StatusItemController& statusItem();
    [[nodiscard]] SettingsWindowActions windowActions();
    void startHotkeys();
    /// Prevents new dictations.
    void closeDoors();
    [[nodiscard]] DictationPhase phase() const;
    void carryOut(TriggerCommand command);
    void publishHotkeyState();

    CompositionRoot& m_root;
    ScheduledWork m_warmUp;
    std::unique_ptr<StatusItemController> m_statusItem;
    SettingsWindowController m_settingsWindow;
    QPointer<EngineWindow> m_engineWindow;    ///< while it is open
    std::unique_ptr<SignInNote> m_signInNote; ///< while a sign-in waits for the browser
    QuitRule m_quitRule;
    PermissionWatch m_permissionWatch;
    bool m_terminated = false;
    QObject m_context; ///< of the connections; they end with it
    Lifetime m_lifetime;
};

} // namespace murlo
