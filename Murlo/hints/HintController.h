#pragma once

#include "MurloKit/Message.h"
#include "hints/HintOverlay.h"
#include "platform/Interruptions.h"
#include "platform/Scheduler.h"
#include "targets/InputTarget.h"

namespace murlo {

class Accessibility;
class InputScanner;

/// The mode with a letter on every text box: takes every key while it is on, and ends on a pick, on
/// Escape, after eight seconds, or when the user does something else. Main thread.
class HintController {
public:
    /// The user has picked a box.
    std::function<void(const InputTarget&)> onPick;
    /// Called with a message for the user.
    std::function<void(const Message&)> onStatus;
    /// Calls back once no text is being inserted into another box; the focus must not move earlier.
    std::function<void(std::function<void()> idle)> whenIdle = [](const auto& idle) { idle(); };
    /// Called when the mode begins or ends, to switch the filtering of keys on or off.
    std::function<void(bool)> onActiveChange;

    HintController(Scheduler& scheduler, Accessibility& accessibility, InputTargets& targets,
                   InputScanner& scanner, Interruptions& interruptions, HintOverlay& overlay);

    /// Begins; ends it if it is on.
    void begin();
    /// Handles a key press before other programs get it; true swallows it.
    bool handleKey(const QString& characters, qint64 keyCode);
    /// Ends it, if it is on.
    void cancel();

    [[nodiscard]] bool isActive() const { return m_active; }
    [[nodiscard]] const QString& typed() const { return m_typed; }
    [[nodiscard]] const QList<InputTarget>& targets() const { return m_targets; }

private:
    /// Remembers and shows the letters typed so far.
    void setTyped(const QString& typed);
    void scanned(const QList<InputTarget>& targets);
    void pick(const InputTarget& target);
    void status(const Message& message) const;

    Scheduler& m_scheduler;
    Accessibility& m_accessibility;
    InputTargets& m_boxes;
    InputScanner& m_scanner;
    Interruptions& m_interruptions;
    HintOverlay& m_overlay;
    bool m_active = false;
    qint64 m_activation = 0; ///< identifies late replies to an earlier scan or pick
    QList<InputTarget> m_targets;
    QString m_typed;
    ScheduledWork m_safety;
    Lifetime m_lifetime;
};

} // namespace murlo
