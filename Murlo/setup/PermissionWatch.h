#pragma once

#include "platform/Scheduler.h"

#include <functional>

namespace murlo {

class HotkeyMonitor;
class Permissions;

/// Starts the trigger keys as soon as key events may be read: at once, or by asking again every
/// 3 s until they do arrive. Main thread.
class PermissionWatch {
public:
    /// The trigger keys were started, or tried again.
    std::function<void()> onChange;

    PermissionWatch(Scheduler& scheduler, const Permissions& permissions, HotkeyMonitor& hotkeys)
        : m_scheduler(scheduler)
        , m_permissions(permissions)
        , m_hotkeys(hotkeys) {}

    void start();
    void stop() { m_poll.cancel(); }

private:
    void tryAgain();
    void changed() const;

    Scheduler& m_scheduler;
    const Permissions& m_permissions;
    HotkeyMonitor& m_hotkeys;
    ScheduledWork m_poll;
};

} // namespace murlo
