#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/OnboardingPhase.h"
#include "MurloKit/SetupReadiness.h"
#include "MurloKit/TriggerKey.h"
#include "platform/EventTap.h"
#include "platform/MicrophoneAuthorization.h"
#include "setup/Practice.h"

namespace murlo {

/// The permissions as this desktop answers for them.
struct PermissionFacts {
    MicrophoneStatus microphone = MicrophoneStatus::authorized;
    bool hasMicrophone = true; ///< there is a device to record from
    bool accessibility = false;
    bool accessibilityDeclined = false;
    InputMonitoringAccess inputMonitoring = InputMonitoringAccess::granted;
    bool isWayland = false; ///< what kind of session it is
    int granted = 0;        ///< of three
    bool allAnswered = false;

    friend bool operator==(const PermissionFacts&, const PermissionFacts&) = default;
};

/// What the first-run wizard's screens depend on.
struct WizardFacts {
    OnboardingPhase phase = OnboardingPhase::welcome;
    // The account
    QString provider = {};     ///< the identity provider's name; empty for the computer's own page
    bool accountIsHere = true; ///< the backend is on this computer
    bool isSigningIn = false;
    Message signOut = {}; ///< why the user was signed out
    Message failure = {}; ///< of the sign-in or the download
    // The speech model's download
    double progress = 0; ///< from 0 to 1
    Message remaining = Word::connecting;
    // Permissions
    PermissionFacts permissions = {};
    double secondsWaitingForTap = 0; ///< with all permissions, but without key events
    // Exercises
    SetupReadiness readiness = {};
    Practice practice = {};
    DictationState::Case dictation = DictationState::idle;
    TriggerKey trigger = TriggerKey::leftShift;
    TriggerKey pickTrigger = TriggerKey::rightShift;
    bool showsEscapeHatch = false;
    // The end
    bool startsAtLogin = false;
    bool hasTray = true;
};

} // namespace murlo
