#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// Whether dictation works already, so that it can be practised.
struct SetupReadiness {
    bool engineReady = false;
    bool hotkeyLive = false; ///< double-taps arrive

    [[nodiscard]] bool canPractice() const { return engineReady && hotkeyLive; }
    /// What is waited for; empty when nothing is.
    [[nodiscard]] Message waitingMessage() const {
        if (!engineReady) return Word::warmingUp;
        return hotkeyLive ? Message() : Message(Word::waitingForShortcut);
    }

    friend bool operator==(const SetupReadiness&, const SetupReadiness&) = default;
};

/// The permissions screen's rules. Pure functions.
class PermissionsProgress {
public:
    /// Seconds without key events after which a restart of the program is offered.
    static constexpr double restartAfter = 10;

    [[nodiscard]] static Message text(int granted, int total) {
        if (granted == 0) return Word::noneDone;
        if (granted == total) return Word::allThreeOn;
        return {Word::someDone, {QString::number(granted), QString::number(total)}};
    }
    [[nodiscard]] static bool shouldOfferRestart(bool allGranted, bool hotkeyLive,
                                                 double secondsWaiting) {
        return allGranted && !hotkeyLive && secondsWaiting >= restartAfter;
    }
};

} // namespace murlo
