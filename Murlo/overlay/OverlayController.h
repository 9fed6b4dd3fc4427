#pragma once

#include "overlay/OverlayModel.h"
#include "overlay/OverlayPanel.h"
#include "platform/Scheduler.h"

namespace murlo {

/// When the recording card is up, and for how long. Main thread.
class OverlayController {
public:
    explicit OverlayController(Scheduler& scheduler, MakeOverlayPanel makePanel = {})
        : m_scheduler(scheduler)
        , m_makePanel(std::move(makePanel)) {}

    [[nodiscard]] OverlayModel& model() { return m_model; }

    /// Shows the state and keeps it up: a delivered text for 1.15 s, a failure for 4 s, work in
    /// progress until further notice; `idle` hides.
    void show(const DictationState& state);
    /// Lets the card leave; its content is emptied once it has gone.
    void hide();
    /// Makes the window ahead of its first use, so that the first card comes as fast as any other.
    void warmUp();

private:
    void scheduleHide(double seconds);

    Scheduler& m_scheduler;
    MakeOverlayPanel m_makePanel;
    OverlayModel m_model;
    std::unique_ptr<OverlayPanel> m_panel;
    bool m_shown = false;  ///< ever
    bool m_wanted = false; ///< shown since the last hide
    ScheduledWork m_hide;
    ScheduledWork m_teardown;
    Lifetime m_lifetime;
};

} // namespace murlo
