#include "platform/InstallLocation.h"
#include "setup/InstallOffer.h"
#include "setup/Permissions.h"
#include "setup/Relaunch.h"
#include "setup/SelfTest.h"
#include "tests/fakes/FakeEventTap.h"
#include "tests/fakes/FakeSingleInstance.h"
#include "tests/harness/DictationRig.h"
#include "tests/harness/Rows.h"

using namespace murlo;

/// The self-test, a restart, and a move to where programs belong.
class SetupPartsTest : public QObject {
    Q_OBJECT

    std::unique_ptr<DictationRig> m_rig;

private Q_SLOTS:
    void init() { m_rig = std::make_unique<DictationRig>(); }
    void cleanup() { m_rig.reset(); }

    void theSelfTestTellsWhatItHeard_data() {
        const Rows<QString, QString> tells;
        tells("loading", "Engine not ready",
              "Still loading the speech model. Wait a moment and try again.");
        tells("no microphone", "Microphone failed", "No microphone found. Check Settings → Sound");
        tells("silence", "No audio captured", "The microphone produced no sound.");
        tells("hello", "Everything works", "Heard: “hello”\n\nTranscribed in 0.60 seconds.\n\n✅ M");
        tells("", "Heard nothing", "Audio was captured (93 KB) but");
        tells("500", "Transcription failed", "Speech engine error 500");
    }
    void theSelfTestTellsWhatItHeard() {
        const auto [message, details] = fetch<QString, QString>();
        const QString how = QTest::currentDataTag();
        DictationRig& rig = *m_rig;
        FakeEventTap tap;
        const Permissions permissions(rig.microphone, rig.accessibility, tap);
        QList<Alert> alerts;
        SelfTest test({rig.scheduler, permissions, rig.settings, rig.server, rig.http,
                       [&rig] {
                           return std::make_unique<AudioRecorder>(
                               rig.scheduler, rig.audio, rig.microphone,
                               [](const QString&, const QString&) {});
                       },
                       [&](const Alert& alert, const std::function<void(bool)>& answered) {
                           alerts << alert;
                           rig.scheduler.nextTurn([answered] { answered(true); });
                       }});
        if (how != "loading") rig.engineGetsReady();
        if (how == "no microphone") rig.audio.plug({});
        test.run();
        test.run(); // one is enough
        rig.scheduler.runPending();
        if (how == "silence")
            rig.scheduler.advance(3.1);
        else
            rig.speak(3.1);
        rig.scheduler.advance(0.5);
        if (how == "500")
            rig.engineRefuses(500, {});
        else if (rig.clipsAtEngine() > 0)
            rig.engineAnswers(how);
        rig.scheduler.runPending();
        QCOMPARE(alerts.size(), 2);
        QCOMPARE(alerts.last().message, message);
        QVERIFY2(alerts.last().details.contains(details), qPrintable(alerts.last().details));
    }

    void theProgramEndsHoweverMovingItGoes_data() {
        const Rows<QString> does; // by what the user answers and what becomes of it
        does("stays", "");
        does("moves", "moved opened quit");
        does("fails", "quit");
        does("declines", "quit");
    }
    void theProgramEndsHoweverMovingItGoes() {
        const auto [does] = fetch<QString>();
        struct Location : InstallLocation {
            QByteArray how = QTest::currentDataTag();
            QStringList done;
            [[nodiscard]] bool needsMoving() const override { return how != "stays"; }
            [[nodiscard]] tl::expected<void, QString> move() override {
                if (how == "fails") return tl::unexpected(QString("No space."));
                done << "moved";
                return {};
            }
            void openCopy(std::function<void()> opened) override {
                done << "opened";
                opened();
            }
        } location;
        QString last;
        InstallOffer offer(
            location,
            [&](const Alert& alert, const std::function<void(bool)>& answered) {
                last = alert.details;
                answered(location.how != "declines");
            },
            [&location] { location.done << "quit"; });
        QCOMPARE(offer.begin(), location.how != "stays");
        QCOMPARE(location.done.join(' '), does);
        QCOMPARE(last.startsWith("No space.\n\nDrag"), location.how == "fails");
        m_rig->scheduler.runPending();
        QCOMPARE(m_rig->logged("install: moved to /Applications, relaunching"),
                 location.how == "moves");
    }

    void aRestartHandsTheLockOver_data() {
        const Rows<bool, bool> takes; // the lock; else whether the program can be started
        takes("it comes", true, true);
        takes("it does not come", false, true);
        takes("it cannot be started", false, false);
    }
    void aRestartHandsTheLockOver() {
        const auto [takes, starts] = fetch<bool, bool>();
        FakeSingleInstance instance;
        instance.refuses = !starts;
        int quits = 0;
        Relaunch relaunch(
            {m_rig->scheduler, m_rig->settings, instance, [] {}, [&quits] { ++quits; }});
        relaunch.begin();
        QCOMPARE(restartedFrom(instance.started.value(0)), QCoreApplication::applicationPid());
        m_rig->scheduler.advance(4.8);
        QCOMPARE(instance.holdsLock, !starts);
        instance.heldByAnother = takes;
        m_rig->scheduler.advance(0.4);
        QCOMPARE(quits, takes ? 1 : 0);
        QCOMPARE(instance.holdsLock, !takes);
        const QString line = "setup: relaunch started no new instance (%1), staying open";
        QCOMPARE(m_rig->log.lines("setup: relaunch").value(0),
                 takes ? QString() : line.arg(starts ? "no error" : "no such file"));
        QVERIFY(!restartedFrom({"--restarted"}) && !restartedFrom({"--restarted", "x"}));
    }
};

QTEST_GUILESS_MAIN(SetupPartsTest)
#include "SetupPartsTest.moc"
