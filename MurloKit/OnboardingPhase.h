#pragma once

namespace murlo {

/// The phases of the first-run wizard.
enum class OnboardingPhase {
    welcome,
    signIn,
    downloading,
    permissions,
    ready,
    practice,
    practicePick
};

} // namespace murlo
