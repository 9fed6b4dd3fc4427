#pragma once

#include "overlay/OverlayModel.h"
#include "platform/Scheduler.h"

namespace murlo {

/// When the recording card is up, and for how long. Main thread. The card itself observes the
/// model.
class OverlayController {
public:
    explicit OverlayController(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] OverlayModel& model() { return m_model; }

    /// Shows the state and keeps it up: a delivered text for 1.15 s, a failure for 4 s, work in
    /// progress until further notice; `idle` hides.
    void show(const DictationState& state);
    /// Lets the card leave; its content is emptied once it has gone.
    void hide();

private:
    void scheduleHide(double seconds);

    Scheduler& m_scheduler;
    OverlayModel m_model;
    bool m_wanted = false; ///< shown since the last hide
    ScheduledWork m_hide;
    ScheduledWork m_teardown;
    Lifetime m_lifetime;
};

} // namespace murlo
