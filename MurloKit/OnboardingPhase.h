#pragma once

#include <QFlags>
#include <QSize>
#include <QString>

#include <array>
#include <optional>

namespace murlo {

/// The phases of the first-run wizard. Their order here is not that in which they are shown:
/// `ready` comes last.
enum class OnboardingPhase {
    welcome,
    signIn,
    downloading,
    permissions,
    ready,
    practice,
    practicePick
};

/// All phases, in the order of the enumeration.
inline constexpr std::array onboardingPhases{
    OnboardingPhase::welcome,     OnboardingPhase::signIn, OnboardingPhase::downloading,
    OnboardingPhase::permissions, OnboardingPhase::ready,  OnboardingPhase::practice,
    OnboardingPhase::practicePick};

/// The phase as it is stored.
[[nodiscard]] QString rawValue(OnboardingPhase phase);
/// The phase with this stored name, which is told in its exact letters; nothing for others.
[[nodiscard]] std::optional<OnboardingPhase> onboardingPhase(const QString& raw);
/// Size of the wizard's window in a phase, in device-independent pixels.
[[nodiscard]] QSize windowSize(OnboardingPhase phase);

/// What entering a phase brings about; phases without an action undo it.
enum class PhaseEntryAction {
    startDownload = 1,           ///< the speech model's download begins or goes on
    startPermissionsPolling = 2, ///< permissions are read again every 1.2 s
    armEscapeHatch = 4,          ///< the way past the exercise is offered 25 s later
    includeOwnWindows = 8,       ///< letters appear over Murlo's own text boxes too
    resetPickSignals = 16        ///< earlier letters and picks are forgotten
};
Q_DECLARE_FLAGS(PhaseEntryActions, PhaseEntryAction)
Q_DECLARE_OPERATORS_FOR_FLAGS(PhaseEntryActions)

[[nodiscard]] PhaseEntryActions entryActions(OnboardingPhase phase);

/// What decides where the wizard goes on. The permissions include an answer of "Not now".
struct OnboardingFacts {
    bool signedIn = false;
    bool hasModel = false;
    bool allPermissionsGranted = false;
    bool hotkeyLive = false; ///< double-taps arrive
};

/// The ways between the phases that depend on facts. Pure functions.
class OnboardingProgress {
public:
    /// Where a wizard begins that was last left at `saved`.
    [[nodiscard]] static OnboardingPhase resume(std::optional<OnboardingPhase> saved,
                                                const OnboardingFacts& facts);
    /// Where the permissions stand in the way, or no longer: after the model is there.
    [[nodiscard]] static OnboardingPhase afterModel(const OnboardingFacts& facts);
    /// Where the welcome screen's button leads.
    [[nodiscard]] static OnboardingPhase afterWelcome(const OnboardingFacts& facts);
    /// Where a sign-in leads; nothing when all else is there already and the wizard is finished.
    [[nodiscard]] static std::optional<OnboardingPhase> afterSignIn(const OnboardingFacts& facts);
    /// What follows an exercise. Letters need the accessibility of other programs, which may have
    /// been declined.
    [[nodiscard]] static OnboardingPhase afterPractice(OnboardingPhase phase, bool hasLetters);
};

} // namespace murlo
