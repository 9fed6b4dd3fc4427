#pragma once

#include "MurloKit/TriggerKey.h"
#include "menubar/QuitQuestion.h"
#include "menubar/SettingsWindow.h"
#include "menubar/StatusItemController.h"
#include "platform/Scheduler.h"

#include <functional>

namespace murlo {

struct CompositionRoot;

/// The switchboard: who calls whom, what starts when, and what ends how. Main thread.
class AppDelegate {
public:
    /// `quit` ends the event loop.
    AppDelegate(CompositionRoot& root, std::function<void()> quit);
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;
    ~AppDelegate();

    /// Wires everything, then starts the engine and, for a signed-in account, the triggers.
    void didFinishLaunching();
    /// The user has started Murlo again while it runs.
    void handleReopen();
    /// The user wants to quit: asks whether that is meant, until it was confirmed once. Not for a
    /// quit that the system asks for.
    void quitRequested();
    /// The session ends: from now on no quit is asked about.
    void sessionEnds() { m_powerOffPending = true; }
    /// Ends the program once the words that are on their way into a box have arrived there, at the
    /// latest after 3 s.
    void quit();
    /// Stops the triggers and the engine. Once; later calls do nothing.
    void willTerminate();

private:
    void wireController();
    void wireHotkeys();
    void wireSettings();
    void wireSystemEvents();
    void wireStatusItem();
    void listenForProbeRequests();
    void toggleDictation();
    void openLog();
    [[nodiscard]] StatusItemController& statusItem();
    [[nodiscard]] SettingsWindowActions windowActions();
    void startHotkeys();
    void handleDoubleTap(HotkeyAction action);
    void handleTriggerUp(HotkeyAction action, double heldSeconds);
    void watchForPermissions();
    void publishHotkeyState();

    CompositionRoot& m_root;
    std::function<void()> m_quit;
    ScheduledWork m_permissionWatcher;
    ScheduledWork m_warmUp;
    ScheduledWork m_quitLimit;
    std::unique_ptr<StatusItemController> m_statusItem;
    SettingsWindowController m_settingsWindow;
    QuitQuestion m_quitQuestion;
    bool m_powerOffPending = false;
    bool m_quitting = false;
    bool m_terminated = false;
    Lifetime m_lifetime;
};

} // namespace murlo
