#include "MurloKit/OnboardingPhase.h"

#include <algorithm>

namespace murlo {

QString rawValue(OnboardingPhase phase) {
    switch (phase) {
    case OnboardingPhase::welcome:
        break;
    case OnboardingPhase::signIn:
        return QStringLiteral("signIn");
    case OnboardingPhase::downloading:
        return QStringLiteral("downloading");
    case OnboardingPhase::permissions:
        return QStringLiteral("permissions");
    case OnboardingPhase::ready:
        return QStringLiteral("ready");
    case OnboardingPhase::practice:
        return QStringLiteral("practice");
    case OnboardingPhase::practicePick:
        return QStringLiteral("practicePick");
    }
    return QStringLiteral("welcome");
}

std::optional<OnboardingPhase> onboardingPhase(const QString& raw) {
    const auto* const found = std::ranges::find_if(
        onboardingPhases, [&](OnboardingPhase phase) { return rawValue(phase) == raw; });
    return found == onboardingPhases.end() ? std::nullopt : std::optional(*found);
}

QSize windowSize(OnboardingPhase phase) {
    constexpr int width = 520;
    constexpr int usual = 480;
    constexpr int tall = 580;
    const bool isTall = phase == OnboardingPhase::permissions ||
                        phase == OnboardingPhase::practice ||
                        phase == OnboardingPhase::practicePick;
    return {width, isTall ? tall : usual};
}

PhaseEntryActions entryActions(OnboardingPhase phase) {
    using enum PhaseEntryAction;
    switch (phase) {
    case OnboardingPhase::downloading:
        return startDownload;
    case OnboardingPhase::permissions:
        return startPermissionsPolling;
    case OnboardingPhase::practice:
        return armEscapeHatch;
    case OnboardingPhase::practicePick:
        return PhaseEntryActions(armEscapeHatch) | includeOwnWindows | resetPickSignals;
    case OnboardingPhase::welcome:
    case OnboardingPhase::signIn:
    case OnboardingPhase::ready:
        break;
    }
    return {};
}

OnboardingPhase OnboardingProgress::resume(std::optional<OnboardingPhase> saved,
                                           const OnboardingFacts& facts) {
    using enum OnboardingPhase;
    if (!facts.signedIn) return welcome;
    if (!facts.hasModel) return saved == downloading ? downloading : welcome;
    if (!facts.allPermissionsGranted) return permissions;
    return saved == ready || saved == practicePick ? *saved : practice;
}

OnboardingPhase OnboardingProgress::afterModel(const OnboardingFacts& facts) {
    return facts.allPermissionsGranted && facts.hotkeyLive ? OnboardingPhase::practice
                                                           : OnboardingPhase::permissions;
}

OnboardingPhase OnboardingProgress::afterWelcome(const OnboardingFacts& facts) {
    if (!facts.signedIn) return OnboardingPhase::signIn;
    return facts.hasModel ? afterModel(facts) : OnboardingPhase::downloading;
}

std::optional<OnboardingPhase> OnboardingProgress::afterSignIn(const OnboardingFacts& facts) {
    if (!facts.hasModel) return OnboardingPhase::downloading;
    if (facts.allPermissionsGranted) return std::nullopt;
    return afterModel(facts);
}

OnboardingPhase OnboardingProgress::afterPractice(OnboardingPhase phase, bool hasLetters) {
    return phase == OnboardingPhase::practice && hasLetters ? OnboardingPhase::practicePick
                                                            : OnboardingPhase::ready;
}

} // namespace murlo
