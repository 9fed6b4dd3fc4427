#pragma once

#include "MurloKit/TriggerKey.h"
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
    /// Stops the triggers and the engine. Once; later calls do nothing.
    void willTerminate();

private:
    void wireController();
    void wireHotkeys();
    void wireSettings();
    void wireSystemEvents();
    void startHotkeys();
    void handleDoubleTap(HotkeyAction action);
    void handleTriggerUp(HotkeyAction action, double heldSeconds);
    void watchForPermissions();
    void publishHotkeyState();

    CompositionRoot& m_root;
    std::function<void()> m_quit;
    ScheduledWork m_permissionWatcher;
    bool m_terminated = false;
};

} // namespace murlo
