#pragma once

#include "MurloKit/TriggerKey.h"
#include "platform/EventTap.h"
#include "platform/Port.h"

#include <functional>
#include <map>
#include <optional>

namespace murlo {

class Settings;

/// The timing record of one physical key; instants in milliseconds of the keyboard's clock.
struct TapState {
    std::optional<qint64> lastTapUp;     ///< released after a press short enough to be a tap
    std::optional<qint64> currentDownAt; ///< went down, while it is held
    std::optional<qint64> armedDownAt;   ///< the press that completed a double tap went down
};

/// Detects double taps of two modifier keys in the key events. Main thread.
///
/// The double tap is reported on the second press, before its release, so that recording starts
/// while the key is still held; the release is reported with the time the key was held. Which of a
/// pair of keys moved is told by its side bit alone. Trigger keys and the window are read from the
/// settings at every event, so a change holds from the next key on. Only the events' timestamps
/// count, so a busy main thread does not affect the detection.
class HotkeyMonitor : NonCopyable {
public:
    /// Longest press, in milliseconds, that still counts as a tap.
    static constexpr qint64 maxTapDuration = 500;
    static constexpr qint64 escapeKeyCode = 53;

    /// The second tap has gone down.
    std::function<void(HotkeyAction)> onDoubleTap;
    /// The key that completed a double tap was released; seconds it was held.
    std::function<void(HotkeyAction, double)> onTriggerUp;
    /// Escape was pressed and the interceptor did not take it; the focused application gets it,
    /// too.
    std::function<void()> onEscape;
    /// Offered every key press first; true keeps it from the other applications while filtering.
    std::function<bool(const QString& characters, qint64 keyCode)> keyInterceptor;

    HotkeyMonitor(EventTap& tap, Settings& settings);
    ~HotkeyMonitor();

    /// Installs the tap; true when it is installed, also if it was before.
    bool start();
    /// Removes the tap; nothing is reported any more.
    void stop();
    /// Call when the trigger keys have changed: resets the state of the old ones.
    void reload();

    [[nodiscard]] bool hasTap() const { return m_installed; }
    /// Installed, and key events do arrive.
    [[nodiscard]] bool hasLiveTap() const { return m_live; }
    [[nodiscard]] bool inputMonitoringGranted() const;

    /// While true, the interceptor's answers keep key presses from other applications.
    void setFiltering(bool filtering) { m_tap.setFiltering(filtering); }

    /// A modifier went down or up, as the tap tells it.
    void handleFlagsChanged(const ModifierChange& event);
    /// A key went down; true keeps it from the focused application while filtering.
    bool handleKeyDown(const KeyPress& event);

private:
    void keyWentDown(qint64 keyCode, HotkeyAction action, qint64 at);
    void keyWentUp(qint64 keyCode, HotkeyAction action, qint64 at);
    void forgetPendingTaps();
    void logTriggers() const;

    EventTap& m_tap;
    Settings& m_settings;
    bool m_installed = false;
    bool m_live = false;
    std::map<qint64, TapState> m_states;
};

} // namespace murlo
