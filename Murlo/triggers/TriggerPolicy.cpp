#include "triggers/TriggerPolicy.h"

namespace murlo::TriggerPolicy {

TriggerCommand onDoubleTap(HotkeyAction action, const DictationPhase& phase) {
    if (phase.recording) return TriggerCommand::finish;
    if (action == HotkeyAction::pickTarget) return TriggerCommand::chooseBox;
    return phase.listening ? TriggerCommand::finish : TriggerCommand::begin;
}

TriggerCommand onRelease(HotkeyAction action, double heldSeconds, double threshold,
                         const DictationPhase& phase) {
    const bool endsByRelease =
        action == HotkeyAction::dictate && phase.byHotkey && (phase.recording || phase.listening);
    return endsByRelease && heldSeconds >= threshold ? TriggerCommand::finish
                                                     : TriggerCommand::none;
}

} // namespace murlo::TriggerPolicy
