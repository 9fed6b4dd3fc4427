#pragma once

#include "MurloKit/TriggerKey.h"

namespace murlo {

/// What a trigger key asks for.
enum class TriggerCommand {
    none,
    begin,     ///< a dictation into the text box with the focus
    finish,    ///< the one under way
    chooseBox, ///< letters on the text boxes
};

/// What the dictation is doing, as far as the trigger keys care.
struct DictationPhase {
    bool listening = false; ///< begun; a cold microphone may still be opening
    bool recording = false; ///< the microphone is open
    bool byHotkey = false;  ///< begun with a trigger key, not from the menu
};

/// What the trigger keys mean: pure functions. Any thread.
namespace TriggerPolicy {

/// The second tap of a double tap went down. Whichever key it is, it ends a running recording.
[[nodiscard]] TriggerCommand onDoubleTap(HotkeyAction action, const DictationPhase& phase);

/// The key that completed a double tap was released after `heldSeconds`: held for `threshold`
/// seconds or more it was push-to-talk, and letting go ends the dictation; a shorter tap leaves it
/// running until the next double tap.
[[nodiscard]] TriggerCommand onRelease(HotkeyAction action, double heldSeconds, double threshold,
                                       const DictationPhase& phase);

} // namespace TriggerPolicy
} // namespace murlo
