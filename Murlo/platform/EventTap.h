#pragma once

#include "platform/Port.h"

#include <QString>

#include <functional>

namespace murlo {

/// One key press, anywhere on the desktop. Releases and auto-repeat are not reported.
struct KeyPress {
    /// Virtual key code of the physical key (the numbering that `TriggerKey` uses: Escape is 53);
    /// -1 for a key that the numbering does not have.
    qint64 keyCode = -1;
    /// What the key types in the current layout, modifiers ignored; empty for keys that type
    /// nothing.
    QString characters;
    /// Timestamp in milliseconds of the keyboard's own monotonic clock: comparable with other
    /// events only. It is independent of how late the event is handled.
    qint64 time = 0;
};

/// A modifier key went down or up. `flags` is the state after the change: the device-dependent side
/// bits of the modifiers now held, and the device-independent family bits (see `TriggerKey`).
struct ModifierChange {
    qint64 keyCode = -1;
    quint32 flags = 0;
    qint64 time = 0; ///< as of `KeyPress`
};

/// Whether key events of other applications can be received.
enum class InputMonitoringAccess { granted = 0, denied = 1, unknown = 2 };

/// The keyboard, watched across all applications. All calls and all handlers on the main thread.
/// The application's own synthesized keys are never reported; those of other programs are.
class EventTap : public Port {
public:
    struct Handlers {
        /// Offered every key press. While `setFiltering(true)` holds, answering true keeps the
        /// press from every application; otherwise the answer has no effect.
        std::function<bool(const KeyPress&)> keyDown;
        std::function<void(const ModifierChange&)> flagsChanged;
        /// The tap was disabled (by the system or a timeout); `enable` re-enables it.
        std::function<void()> disabled;
    };

    /// Starts reporting to `handlers`. False when the desktop offers no way to see key events.
    virtual bool install(Handlers handlers) = 0;
    /// Stops reporting and filtering. Does nothing when not installed.
    virtual void remove() = 0;
    /// Re-enables an installed tap after `disabled`.
    virtual void enable() = 0;
    /// While true, key presses wait for the answer of `keyDown` before any application sees them.
    /// Modifiers and releases always pass. If the main thread does not answer within 0.25 s, the
    /// press goes through and filtering ends by itself (`disabled` is called).
    virtual void setFiltering(bool filtering) = 0;

    [[nodiscard]] virtual InputMonitoringAccess access() const = 0;
    /// Asks for access where a session can grant it; returns whether it is granted now.
    virtual bool requestAccess() = 0;
};

} // namespace murlo
