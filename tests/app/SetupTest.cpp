#include "setup/SetupController.h"

#include "setup/ModelDownload.h"
#include "setup/PermissionRequests.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/fakes/FakeFileSystem.h"
#include "tests/fakes/FakeLoginItem.h"
#include "tests/harness/DictationRig.h"
#include "tests/harness/ModelFiles.h"
#include "tests/harness/Rows.h"

#include <QRegularExpression>

using namespace murlo;

namespace {

/// The wizard on fakes, and a log of what it has the program do.
struct SetupRig : DictationRig {
    struct Window : SetupWindow {
        explicit Window(SetupRig& of)
            : rig(of) {}
        void show(bool takesFocus) override { rig.did << (takesFocus ? "front" : "shown"); }
        void turnTo(OnboardingPhase) override {}
        void hide() override { rig.did << "hidden"; }
        SetupRig& rig;
    };

    SetupRig() {
        setup.onModelReady = [this] { did << "model"; };
        setup.onSignedIn = [this] { did << "signedIn"; };
        setup.onStage = [this](const QString& stage) { did << stage; };
        setup.onFinished = [this] { did << "finished"; };
        start();
    }
    void bringModel() { put("models/ggml-base-q5_1.bin", tinyModel(100, 'a')); }
    /// Phase, and what else is to be seen of it.
    [[nodiscard]] QString state() const {
        const WizardRecord record = setup.record();
        QStringList parts{rawValue(setup.phase())};
        if (!setup.isOpen()) parts << "closed";
        if (ownWindows) parts << "own";
        if (!record.failure.isEmpty()) parts << record.failure;
        if (!record.step.isEmpty()) parts << record.step.section(' ', 1, 1);
        if (!record.button.text.isEmpty()) parts << '[' + record.button.text + ']';
        if (setup.phase() != OnboardingPhase::downloading && !record.link.text.isEmpty())
            parts << "link";
        return parts.join(' ');
    }

    FakeEventTap tap;
    FakeLoginItem login;
    FakeFileSystem files;
    bool ownWindows = false;
    QStringList did;
    Permissions permissions{microphone, accessibility, tap};
    PermissionRequests requests{permissions, microphone, accessibility, tap, settings};
    ModelDownload download{{scheduler, http.maker(), files, reachability},
                           paths,
                           QUrl("https://models.example.com/repo")};
    SetupController setup{{scheduler, settings, paths, account, config, reachability, requests,
                           download, devices, files, audio, login, desktop,
                           [this](SetupController&) { return std::make_unique<Window>(*this); },
                           [this](bool own) { ownWindows = own; }}};
};

} // namespace

class SetupTest : public QObject {
    Q_OBJECT

    std::unique_ptr<SetupRig> m_rig;

    void happens(const QString& step) {
        SetupRig& rig = *m_rig;
        SetupController& setup = rig.setup;
        const std::map<QString, std::function<void()>> steps{
            {"begin", [&] { setup.begin(); }},
            {"close", [&] { setup.abandon(); }},
            {"press", [&] { setup.act(setup.record().button.action); }},
            {"link", [&] { setup.act(setup.record().link.action); }},
            {"signIn", [&] { rig.AccountRig::signIn(); }},
            {"browser", [&] { rig.browserAnswers(); }},
            {"badToken", [&] { rig.network.answer(200, "{}", "/token"); }},
            {"cancel", [&] { rig.account.cancelSignIn(); }},
            {"model", [&] { rig.bringModel(); }},
            {"arrives", [&] { rig.http.answer(200, tinyModel(100, 'b'), "/repo"); }},
            {"404", [&] { rig.http.answer(404, {}, "/repo"); }},
            {"import",
             [&] {
                 rig.put("mine.bin", tinyModel(200, 'c'));
                 setup.importModel(rig.paths.file("mine.bin"));
             }},
            {"importNothing", [&] { setup.importModel("/nowhere.bin"); }},
            {"noAccess", [&] { rig.accessibility.setTrusted(false); }},
            {"notNow", [&] { setup.declineAccessibility(); }},
            {"grant", [&] { setup.grant(PermissionKind::accessibility); }},
            {"live", [&] { setup.setHotkeyLive(true); }},
            {"dead", [&] { setup.setHotkeyLive(false); }},
            {"tick", [&] { rig.scheduler.advance(SetupController::pollPeriod); }},
            {"24s", [&] { rig.scheduler.advance(24); }},
            {"1s", [&] { rig.scheduler.advance(1); }},
            {"click", [&] { setup.practiceBoxFocused(); }},
            {"listen", [&] { setup.setDictationState({DictationState::listening}); }},
            {"text", [&] { setup.practiceTextChanged("hello"); }},
            {"hints", [&] { setup.setHintsShown(); }},
            {"ours", [&] { setup.setLastPickWasOurs(true); }},
            {"theirs", [&] { setup.setLastPickWasOurs(false); }},
            {"decided", [&] { rig.settings.set(SettingKey::loginItemDecided, true); }},
        };
        for (const QString& one : step.split(' ')) {
            steps.at(one)();
            rig.scheduler.runPending();
            rig.scheduler.advance(0.01);
        }
    }

private Q_SLOTS:
    void init() { m_rig = std::make_unique<SetupRig>(); }
    void cleanup() { m_rig.reset(); }

    void whatMovesTheWizard_data() {
        const Rows<QString> ends;
        ends("begin", "welcome [Get Started]");
        ends("begin press", "signIn [Continue with Example]");
        ends("begin press press browser badToken",
             "signIn Something went wrong. Please try again. [Continue with Example]");
        ends("begin press press cancel", "signIn [Continue with Example]");
        ends("begin press press close begin", "welcome [Get Started]");
        ends("begin press press begin", "signIn [Continue with Example]");
        ends("begin press signIn", "downloading");
        ends("begin press signIn arrives", "permissions");
        ends("begin press signIn live arrives", "practice 1");
        ends("begin press signIn 404", "downloading The download server had a problem. Please try "
                                       "again. [Try Again]");
        ends("begin press signIn 404 press arrives", "permissions");
        ends("begin press signIn close", "downloading closed");
        ends("begin press signIn close begin arrives", "permissions");
        ends("begin press signIn import", "permissions");
        ends("begin press signIn importNothing",
             "downloading This file can't be read. [Try Again]");
        ends("model begin press signIn",
             "signIn closed [Continue with Example]"); // nothing is missing
        ends("model noAccess begin press signIn", "permissions");
        ends("model noAccess begin press signIn live notNow tick", "practice 1");
        ends("model noAccess begin press signIn live grant tick", "practice 1");
        const QByteArray practice = "model noAccess signIn begin live grant tick";
        ends(practice + " dead 24s 1s", "practice 1 link");
        ends(practice + " 24s", "practice 1");
        ends(practice + " click", "practice 2");
        ends(practice + " click listen", "practice 3");
        ends(practice + " click listen text", "practice 3 [Next]");
        ends(practice + " text press", "practicePick own 1");
        ends(practice + " noAccess notNow text press", "ready [Start Using Murlo]");
        ends(practice + " text press hints theirs", "practicePick own 2");
        ends(practice + " text press hints theirs ours", "practicePick own 3");
        ends(practice + " text press hints close begin", "practicePick own 1");
        ends(practice + " text press 24s 1s link", "ready [Start Using Murlo]");
        ends(practice + " text press text press press", "ready closed [Start Using Murlo]");
    }
    void whatMovesTheWizard() {
        const auto [end] = fetch<QString>();
        happens(QTest::currentDataTag());
        QCOMPARE(m_rig->state(), end);
        QCOMPARE(m_rig->settings.text(SettingKey::onboardingPhase), rawValue(m_rig->setup.phase()));
    }

    void aRestartIsOfferedAtTheNinthLook() {
        happens("model noAccess signIn begin grant tick tick tick tick tick tick tick tick");
        QCOMPARE(m_rig->state(), "permissions");
        happens("tick");
        QCOMPARE(m_rig->state(), "permissions [Restart Murlo]");
        happens("close begin");
        QCOMPARE(m_rig->state(), "practice 1"); // all is granted
    }

    void itsEndIsRecorded_data() {
        const Rows<bool> switchesOn; // the login item
        switchesOn("model begin press signIn", true);
        switchesOn("model decided begin press signIn", false);
    }
    void itsEndIsRecorded() {
        const auto [switchesOn] = fetch<bool>();
        happens(QTest::currentDataTag());
        QCOMPARE(m_rig->did,
                 (QStringList{"front", "model", "signedIn", "hidden", "onboarded", "finished"}));
        QCOMPARE(m_rig->login.enabled, switchesOn);
        QCOMPARE(m_rig->logged("login item: registered"), switchesOn);
        for (const char* key : {SettingKey::onboardingComplete, SettingKey::funnelOnboarded,
                                SettingKey::loginItemDecided})
            QVERIFY(m_rig->settings.truth(key));
        QVERIFY(!m_rig->setup.isUnfinished());
        happens("noAccess");
        QVERIFY(m_rig->setup.isNeeded());
        happens("notNow");
        QVERIFY(!m_rig->setup.isUnfinished());
    }

    void whoClosesItIsWaitedFor() {
        happens("begin press signIn close close");
        QCOMPARE(m_rig->log.lines("setup: "), (QStringList{"setup: downloading speech model",
                                                           "setup: abandoned at downloading"}));
        QVERIFY(!m_rig->download.isRunning());
        m_rig->settings.set(SettingKey::signOutReason, "revokedElsewhere");
        m_rig->account.signOut();
        m_rig->settings.set(SettingKey::signOutReason, "revokedElsewhere");
        happens("begin press");
        QCOMPARE(m_rig->setup.record().notice,
                 "You've been signed out because you signed in on another computer.");
        happens("close begin press");
        QCOMPARE(m_rig->setup.record().notice, "");
    }

    void theQuestionAtTheStartWaitsForTheDesktop() {
        QStringList answers;
        const auto ask = [&](double seconds) {
            m_rig->setup.askIfNeeded([&](bool needed) { answers << (needed ? "yes" : "no"); });
            m_rig->scheduler.advance(seconds);
        };
        ask(0.01); // nobody is signed in
        happens("model signIn noAccess");
        ask(2);
        m_rig->accessibility.setTrusted(true);
        m_rig->scheduler.advance(0.2);
        m_rig->accessibility.setTrusted(false);
        ask(2.8);
        QCOMPARE(answers, (QStringList{"yes", "no"}));
        m_rig->scheduler.advance(0.4);
        QCOMPARE(answers.last(), "yes");
    }

    void oldInstallationsCountAsFinished() {
        SetupController::seedCompletionForExistingInstalls(m_rig->settings);
        QVERIFY(!m_rig->settings.holds(SettingKey::onboardingComplete));
        m_rig->settings.set(SettingKey::funnelOnboarded, true);
        SetupController::seedCompletionForExistingInstalls(m_rig->settings);
        QVERIFY(m_rig->settings.truth(SettingKey::onboardingComplete));
    }

    void whatWasSwitchedOnIsSwitchedOnAgain() {
        happens("noAccess");
        m_rig->requests.restoreAccessibility();
        QVERIFY(!m_rig->permissions.accessibilityGranted()); // nobody asked for it
        happens("grant noAccess");
        m_rig->requests.restoreAccessibility();
        QVERIFY(m_rig->permissions.accessibilityGranted());
        happens("noAccess notNow");
        m_rig->requests.restoreAccessibility();
        QVERIFY(!m_rig->permissions.accessibilityGranted());
    }

    void screensSayWhatIsTrueHere_data() {
        const Rows<WizardFacts, QString> says;
        WizardFacts facts;
        const auto on = [&](OnboardingPhase phase) -> WizardFacts& {
            facts = {};
            facts.phase = phase;
            return facts;
        };
        using enum OnboardingPhase;
        on(welcome);
        says("here", facts, "Runs entirely on your computer. Nothing leaves it.");
        facts.accountIsHere = false;
        says("elsewhere", facts, "Speech is recognised on your computer.");
        on(signIn).provider = "Example";
        facts.accountIsHere = false;
        says("account", facts,
             "settings across computers and unlocks enhance mode. Dictation "
             "itself never leaves this computer.");
        on(permissions).permissions.inputMonitoring = InputMonitoringAccess::denied;
        says("keys", facts, "This desktop shows no program the keys of others");
        facts.permissions.isWayland = true;
        says("wayland", facts, "This is a Wayland session");
        on(permissions).permissions.hasMicrophone = false;
        says("no microphone", facts, "No microphone found. Check Settings → Sound → Input.");
        facts.permissions.microphone = MicrophoneStatus::denied;
        says("denied", facts,
             "turned down. Open Settings and switch Murlo on.|Grant|Grant "
             "Microphone");
        on(permissions);
        says("to be asked", facts, "None done yet|");
        on(ready).hasTray = false;
        says("no tray", facts, "Double-tap **Right ⇧** to pick any box on screen.|This desktop");
        on(ready).startsAtLogin = true;
        says("login", facts, "Murlo starts with your computer. Turn that off in settings");
    }
    void screensSayWhatIsTrueHere() {
        const auto [facts, text] = fetch<WizardFacts, QString>();
        const WizardRecord record = presentWizard(facts);
        QStringList all{record.title, record.granted, record.waiting};
        for (const PermissionRow& row : record.rows)
            all << row.title << row.details << row.warning << row.grant << row.spokenGrant;
        all << record.lines;
        const QString joined = all.join('|');
        QVERIFY2(joined.contains(text), qPrintable(joined));
        static const QRegularExpression foreign("Mac|macOS|Google|System Settings");
        QVERIFY2(!joined.contains(foreign), qPrintable(joined));
    }

    void boldTextIsTold() {
        QCOMPARE(spans("Now **A** and"),
                 (QList<TextSpan>{{"Now ", false}, {"A", true}, {" and", false}}));
        QCOMPARE(plain("Now **A**"), "Now A");
    }
};

QTEST_GUILESS_MAIN(SetupTest)
#include "SetupTest.moc"
