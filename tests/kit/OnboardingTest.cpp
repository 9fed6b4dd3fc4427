#include "MurloKit/OnboardingPhase.h"
#include "MurloKit/SetupReadiness.h"
#include "tests/harness/Rows.h"

using namespace murlo;
using enum OnboardingPhase;

class OnboardingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aWizardGoesOnWhereItCan_data() {
        // Signed in, model, permissions, live keys; then the next phase by what was saved, after
        // the welcome, after a sign-in ("-": finished).
        const Rows<QString, QString, QString> goesOn;
        goesOn("", "practice: welcome, downloading: welcome, : welcome", "signIn", "downloading");
        goesOn("s", "practice: welcome, downloading: downloading, : welcome", "downloading",
               "downloading");
        goesOn("sm", "practice: permissions, ready: permissions, : permissions", "permissions",
               "permissions");
        goesOn("sml", "practice: permissions", "permissions", "permissions");
        goesOn("smp",
               "ready: ready, practicePick: practicePick, permissions: practice, Practice: "
               "practice, : practice",
               "permissions", "-");
        goesOn("smpl", "practice: practice", "practice", "-");
    }
    void aWizardGoesOnWhereItCan() {
        const auto [resumed, welcomed, signedIn] = fetch<QString, QString, QString>();
        const QByteArray has = QTest::currentDataTag();
        const OnboardingFacts facts{has.contains('s'), has.contains('m'), has.contains('p'),
                                    has.contains('l')};
        for (const QString& one : resumed.split(", ")) {
            const auto saved = onboardingPhase(one.section(':', 0, 0));
            QCOMPARE(rawValue(OnboardingProgress::resume(saved, facts)), one.section(": ", 1));
        }
        QCOMPARE(rawValue(OnboardingProgress::afterWelcome(facts)), welcomed);
        const auto after = OnboardingProgress::afterSignIn(facts);
        QCOMPARE(after ? rawValue(*after) : "-", signedIn);
    }

    void theirNamesAreRead() {
        for (const OnboardingPhase phase : onboardingPhases)
            QCOMPARE(onboardingPhase(rawValue(phase)), phase);
        QVERIFY(!onboardingPhase("Practice") && !onboardingPhase(""));
    }

    void aRestartIsOfferedOnceKeysAreOverdue() {
        const auto offered = PermissionsProgress::shouldOfferRestart;
        QVERIFY(!offered(true, false, 9.9) && offered(true, false, 10));
        QVERIFY(!offered(true, true, 99) && !offered(false, false, 99));
        QCOMPARE(PermissionsProgress::text(0, 0), Message(Word::noneDone));
        QCOMPARE(PermissionsProgress::text(3, 3), Message(Word::allThreeOn));
        QCOMPARE(PermissionsProgress::text(1, 3), Message(Word::someDone, {"1", "3"}));
    }
};

QTEST_GUILESS_MAIN(OnboardingTest)
#include "OnboardingTest.moc"
