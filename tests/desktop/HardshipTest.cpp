#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/harness/desktop/TestDesk.h"

#include <csignal>

using namespace murlo;

namespace {

using Kind = TargetApp::Kind;
const QString sentence = "Where is the image?";
// A few sentences keep the engine busy long enough to do something to it.
const QString longer =
    "Both ends wrote at the same time. He put a quarter in the slot. Create a new location. "
    "Push the function to the password. Please delete the endpoint.";

bool exists(qint64 pid) {
    return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

} // namespace

/// The real program when something around it goes wrong: nothing the user has is lost, and the next
/// dictation works.
class HardshipTest : public QObject {
    Q_OBJECT

    std::unique_ptr<TestDesk> m_desk;

private Q_SLOTS:
    void init() { m_desk = std::make_unique<TestDesk>(); }

    void cleanup() {
        m_desk.reset();
        // The next one finds a microphone again.
        (void)QProcess::execute("pactl", {"set-default-source", "murlo_mic.monitor"});
    }

    void anEngineKilledAtWorkLosesNothing() {
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        QVERIFY(m_desk->dictate(longer));
        letPass(100);
        m_desk->murlo.forgetLog();
        const qint64 engine = m_desk->murlo.enginePid();
        QVERIFY(exists(engine));
        ::kill(static_cast<pid_t>(engine), SIGKILL);
        QVERIFY(m_desk->murlo.awaitLog("whisper-server: ready", 30000));
        QVERIFY(m_desk->murlo.enginePid() != engine);
        QVERIFY(m_desk->delivered() && m_desk->holds(longer)); // its successor has got the clip
        QVERIFY(m_desk->lands(sentence, longer + sentence));
    }

    void wordsLandWhateverBecomesOfTheMicrophone() {
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        QVERIFY(m_desk->begin() && m_desk->speak(sentence));
        QVERIFY(TestDesk::soundServer("unplug"));
        letPass(300);
        if (!m_desk->murlo.loggedAt(" chars in ")) m_desk->end();
        QVERIFY(m_desk->delivered() && m_desk->holds(sentence));

        QVERIFY(TestDesk::soundServer("plug"));
        letPass(500);
        QVERIFY(m_desk->lands(sentence, sentence.repeated(2)));

        QVERIFY(TestDesk::soundServer("stop") && TestDesk::soundServer("start"));
        letPass(500);
        QVERIFY(m_desk->lands(sentence, sentence.repeated(3)));
    }

    void textGoesToTheBoxThatHadTheFocusAndOfAClosedOneToTheHistory() {
        TargetApp other(Kind::editor);
        QVERIFY(other.start());
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        QVERIFY(m_desk->dictate(sentence));
        QVERIFY(other.activate());
        QVERIFY(m_desk->delivered() && m_desk->holds(sentence));
        QCOMPARE(other.text(), "");

        QVERIFY(m_desk->target->activate());
        const QString last = "The scene is dull.";
        QVERIFY(m_desk->dictate(last));
        m_desk->target->close();
        QVERIFY(m_desk->delivered());
        QTRY_COMPARE(m_desk->murlo.history(), QStringList({last, sentence}));
    }

    void aHungProgramGetsItsTextWhenItGoesOn() {
        QVERIFY(m_desk->startWith(Kind::gtkEntry));
        QVERIFY(m_desk->begin() && m_desk->speak(sentence));
        m_desk->target->hang();
        m_desk->end();
        const bool delivered = m_desk->delivered(15000);
        m_desk->target->resume();
        QVERIFY2(delivered, "Murlo waited for the program that hung");
        QTRY_COMPARE(m_desk->murlo.history(), QStringList{sentence});
        QVERIFY(m_desk->holds(sentence));
    }

    void aTerminationSignalIsACleanQuitThatKeepsWhatWasSaid_data() {
        const Rows<double> seconds; // of speech that is kept
        seconds("while idle", 0);
        seconds("during the recording", 1);
        seconds("during the transcription", 8);
    }
    void aTerminationSignalIsACleanQuitThatKeepsWhatWasSaid() {
        const double seconds = std::get<0>(fetch<double>());
        QVERIFY(m_desk->startMurlo());
        if (seconds == 1) QVERIFY(m_desk->begin() && m_desk->speak(sentence));
        if (seconds == 8) QVERIFY(m_desk->dictate(longer));
        m_desk->murlo.forgetLog();
        const qint64 engine = m_desk->murlo.enginePid();
        QVERIFY(exists(engine));
        QCOMPARE(m_desk->murlo.quit(5000), 0);
        QVERIFY(m_desk->murlo.awaitLog("app: terminated", 0));
        QVERIFY(!exists(engine));
        // The engine may have been faster than the signal.
        const bool written = seconds > 1 && !m_desk->murlo.history().isEmpty();
        const QString kept = m_desk->murlo.file("untranscribed.wav");
        QCOMPARE(QFile::exists(kept), seconds > 0 && !written);
        constexpr int bytesPerSecond = 2 * 16000;
        QVERIFY(written || QFileInfo(kept).size() >= seconds * bytesPerSecond);
    }

    void aSecondStartIsTheFirstOnesBusiness() {
        QVERIFY(m_desk->startMurlo());
        const qint64 engine = m_desk->murlo.enginePid();
        QProcess second;
        second.start(MURLO_PROGRAM, QStringList());
        QVERIFY(second.waitForFinished(5000));
        QCOMPARE(second.exitCode(), 0);
        QVERIFY(m_desk->murlo.awaitLog("app: opened again"));
        QCOMPARE(m_desk->murlo.enginePid(), engine);
        QVERIFY(m_desk->murlo.isRunning());
    }

    void aReadOnlySupportFolderKeepsNobodyFromDictating() {
        MurloProcess& murlo = m_desk->murlo;
        QVERIFY(murlo.seed(MURLO_MODEL));
        putFile(murlo.file("history.json"), "[]");
        QVERIFY(QFile::setPermissions(murlo.file("history.json"), QFile::ReadOwner));
        QVERIFY(murlo.start() && murlo.awaitReady());
        QVERIFY(QFile::setPermissions(murlo.file({}), QFile::ReadOwner | QFile::ExeOwner));
        m_desk->target = std::make_unique<TargetApp>(Kind::gtkEntry);
        QVERIFY(m_desk->target->start() && m_desk->lands(sentence));
        QVERIFY(murlo.awaitLog("history: could not save"));
        m_desk->expectTrouble("could not save");
        const auto all = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        QVERIFY(QFile::setPermissions(murlo.file({}), all));
    }
};

QTEST_MAIN(HardshipTest)
#include "HardshipTest.moc"
