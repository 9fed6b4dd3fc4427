#pragma once

#include "platform/Scheduler.h"

#include <QObject>

namespace murlo {

class HotkeyMonitor;
class Permissions;

/// Starts the trigger keys as soon as key events may be read: at once, or by asking again every
/// 3 s until they do arrive. Main thread.
class PermissionWatch : public QObject {
    Q_OBJECT

public:
    PermissionWatch(Scheduler& scheduler, const Permissions& permissions, HotkeyMonitor& hotkeys)
        : m_scheduler(scheduler)
        , m_permissions(permissions)
        , m_hotkeys(hotkeys) {}

    /// Starts the trigger keys, or begins to poll for the permission.
    void start();
    void stop() { m_poll.cancel(); }

Q_SIGNALS:
    /// The trigger keys were started, or tried again.
    void changed();

private:
    void tryAgain();

    Scheduler& m_scheduler;
    const Permissions& m_permissions;
    HotkeyMonitor& m_hotkeys;
    ScheduledWork m_poll;
};

} // namespace murlo
