#include "overlay/OverlayController.h"

namespace murlo {

namespace {
constexpr double deliveredSeconds = 1.15;
constexpr double failedSeconds = 4.0;
constexpr double exitDuration = 0.3;
} // namespace

void OverlayController::warmUp() {
    if (!m_panel && m_makePanel) m_panel = m_makePanel(m_model);
}

void OverlayController::show(const DictationState& state) {
    m_hide.cancel();
    m_teardown.cancel();
    m_model.setState(state);
    m_wanted = true;
    m_shown = true;
    warmUp();
    // A card without content is not shown.
    if (m_panel && state.state != DictationState::idle) m_panel->orderFront();
    if (!m_model.isPresented() && state.state != DictationState::idle) {
        // On the next turn, so that the entry begins from the hidden state.
        m_scheduler.nextTurn(m_lifetime.guard([this] {
            if (m_wanted) m_model.setPresented(true);
        }));
    }
    switch (state.state) {
    case DictationState::delivered:
        scheduleHide(deliveredSeconds);
        break;
    case DictationState::failed:
        scheduleHide(failedSeconds);
        break;
    case DictationState::idle:
        hide();
        break;
    default:
        break;
    }
}

void OverlayController::hide() {
    m_hide.cancel();
    m_wanted = false;
    if (!m_shown) return; // nothing has ever been up
    m_model.setPresented(false);
    m_teardown = m_scheduler.after(exitDuration, [this] {
        if (m_panel) m_panel->orderOut();
        m_model.setState({});
        m_model.resetRecording();
    });
}

void OverlayController::scheduleHide(double seconds) {
    m_hide = m_scheduler.after(seconds, [this] { hide(); });
}

} // namespace murlo
