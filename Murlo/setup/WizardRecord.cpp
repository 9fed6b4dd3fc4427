#include "setup/WizardRecord.h"

#include "look/Words.h"

namespace murlo {

namespace {

using Words::shown;

QString nameOf(TriggerKey key) {
    return shown(Words::nameOf(key));
}

WizardRecord welcome(const WizardFacts& facts) {
    WizardRecord record;
    record.title = shown(Word::murlo);
    record.lines = {shown(Word::speakSoftly),
                    shown(facts.accountIsHere ? Word::runsHere : Word::recognisesHere)};
    record.button = {shown(Word::getStarted), WizardAction::getStarted};
    return record;
}

WizardRecord signIn(const WizardFacts& facts) {
    WizardRecord record;
    record.title = shown(Word::signInFirst);
    record.lines = {shown(facts.accountIsHere ? Word::accountStays : Word::accountSyncs)};
    record.notice = shown(facts.signOut);
    record.failure = shown(facts.failure);
    const bool isHere = facts.provider.isEmpty();
    record.button = {
        shown(isHere ? Message(Word::continueHere) : Message(Word::continueWith, {facts.provider})),
        WizardAction::signIn, !facts.isSigningIn};
    return record;
}

WizardRecord downloading(const WizardFacts& facts) {
    WizardRecord record;
    record.title = shown(Word::settingUp);
    record.link = {shown(Word::haveModelFile), WizardAction::importModel};
    if (!facts.failure.isEmpty()) {
        record.failure = shown(facts.failure);
        record.button = {shown(Word::tryAgain), WizardAction::download};
        return record;
    }
    record.lines = {shown(Word::downloadOnce), shown(Word::thenOffline)};
    record.progress = facts.progress;
    record.progressName = shown(Word::downloadProgress);
    record.remaining = shown(facts.remaining);
    return record;
}

PermissionRow row(PermissionKind kind, Word title, bool isGranted) {
    PermissionRow row{kind, isGranted, shown(title)};
    row.state = shown(isGranted ? Word::switchedOn : Word::switchedOff);
    if (isGranted) return row;
    row.grant = shown(Word::grant);
    row.spokenGrant = shown({Word::grantIt, {row.title}});
    return row;
}

PermissionRow microphoneRow(const PermissionFacts& facts) {
    PermissionRow row = murlo::row(PermissionKind::microphone, Word::microphone,
                                   facts.microphone == MicrophoneStatus::authorized);
    row.details = {shown(Word::hearsYou)};
    if (facts.microphone == MicrophoneStatus::denied)
        row.warning = shown(Word::microphoneDenied);
    else if (!facts.hasMicrophone)
        row.warning = shown(Word::noInputDevice);
    return row;
}

PermissionRow accessibilityRow(const PermissionFacts& facts) {
    PermissionRow row =
        murlo::row(PermissionKind::accessibility, Word::accessibility, facts.accessibility);
    row.details = {shown(Word::typesForYou), shown(Word::neverReadsScreen)};
    if (facts.accessibility) return row;
    if (facts.accessibilityDeclined)
        row.warning = shown(Word::notNowMeans);
    else
        row.notNow = shown(Word::notNow);
    return row;
}

PermissionRow inputMonitoringRow(const PermissionFacts& facts) {
    PermissionRow row = murlo::row(PermissionKind::inputMonitoring, Word::inputMonitoring,
                                   facts.inputMonitoring == InputMonitoringAccess::granted);
    row.details = {shown(Word::noticesDoubleTap)};
    if (facts.inputMonitoring == InputMonitoringAccess::denied)
        row.warning = shown(facts.isWayland ? Word::waylandHidesKeys : Word::keysHidden);
    return row;
}

WizardRecord permissions(const WizardFacts& facts) {
    WizardRecord record;
    record.title = shown(Word::threePermissions);
    record.lines = {shown(Word::permissionsMeans)};
    record.granted = shown(PermissionsProgress::text(facts.permissions.granted, 3));
    record.rows = {microphoneRow(facts.permissions), accessibilityRow(facts.permissions),
                   inputMonitoringRow(facts.permissions)};
    const bool allAnswered = facts.permissions.allAnswered;
    const bool isLive = facts.readiness.hotkeyLive;
    if (allAnswered && !isLive) record.waiting = shown(Word::waitingForShortcut);
    if (PermissionsProgress::shouldOfferRestart(allAnswered, isLive, facts.secondsWaitingForTap))
        record.button = {shown(Word::restartMurlo), WizardAction::restart};
    return record;
}

WizardRecord exercise(const WizardFacts& facts) {
    WizardRecord record;
    const bool isPick = facts.practice.kind == Practice::pick;
    if (isPick) {
        record.title = shown({Word::doubleTap, {nameOf(TriggerKey::rightShift)}});
        record.lines = {shown(Word::lettersPopUp)};
    }
    const int step = facts.practice.step();
    record.step = shown({Word::stepOfThree, {QString::number(std::min(step + 1, 3))}});
    record.placeholder = shown(isPick ? Word::pressLetterHere : Word::wordsAppearHere);
    record.isDone = step == 3;
    if (record.isDone) {
        record.instruction = shown(isPick ? Word::wholeTrick : Word::practiceDone);
        record.button = {shown(isPick ? Word::startUsing : Word::next), WizardAction::next};
        return record;
    }
    const TriggerKey key = isPick ? facts.pickTrigger : facts.trigger;
    record.instruction =
        shown(facts.practice.instruction(facts.readiness, facts.dictation, nameOf(key)));
    if (!isPick && step > 0) record.hint = shown(Word::orHold);
    if (facts.showsEscapeHatch) record.link = {shown(Word::havingTrouble), WizardAction::next};
    return record;
}

WizardRecord ready(const WizardFacts& facts) {
    WizardRecord record;
    record.title = shown(Word::youAreReady);
    record.lines = {shown({Word::tapToTalk, {nameOf(TriggerKey::leftShift)}}),
                    shown({Word::tapToPick, {nameOf(TriggerKey::rightShift)}})};
    if (facts.startsAtLogin) record.lines << shown(Word::startsAtLogin);
    if (!facts.hasTray) record.lines << shown(Word::openMurloAgain);
    record.button = {shown(Word::startUsing), WizardAction::finish};
    return record;
}

WizardRecord screen(const WizardFacts& facts) {
    switch (facts.phase) {
    case OnboardingPhase::welcome:
        break;
    case OnboardingPhase::signIn:
        return signIn(facts);
    case OnboardingPhase::downloading:
        return downloading(facts);
    case OnboardingPhase::permissions:
        return permissions(facts);
    case OnboardingPhase::practice:
    case OnboardingPhase::practicePick:
        return exercise(facts);
    case OnboardingPhase::ready:
        return ready(facts);
    }
    return welcome(facts);
}

} // namespace

WizardRecord presentWizard(const WizardFacts& facts) {
    WizardRecord record = screen(facts);
    record.phase = facts.phase;
    return record;
}

QList<TextSpan> spans(const QString& text) {
    QList<TextSpan> result;
    bool isBold = false;
    for (const QString& piece : text.split(QStringLiteral("**"))) {
        if (!piece.isEmpty()) result.append({piece, isBold});
        isBold = !isBold;
    }
    return result;
}

QString plain(const QString& text) {
    return QString(text).remove(QStringLiteral("**"));
}

} // namespace murlo
