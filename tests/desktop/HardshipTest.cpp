#include "tests/harness/desktop/Desk.h"
#include "tests/harness/desktop/TargetApp.h"
#include "tests/harness/desktop/Waiting.h"

#include <QClipboard>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTest>

#include <csignal>

using namespace murlo;

namespace {

const QString sentence = "Where is the image?";
// A few sentences keep the engine busy long enough to do something to it.
const QString longer =
    "Both ends wrote at the same time. He put a quarter in the slot. Create a new location. "
    "Push the function to the password. Please delete the endpoint.";

bool soundServer(const QString& action) {
    return QProcess::execute(MURLO_SOUND_SERVER, {action}) == 0;
}

bool restartSoundServer() {
    (void)soundServer("stop");
    if (!QProcess::startDetached(MURLO_SOUND_SERVER, {"start"})) return false;
    return waitFor([] { return QProcess::execute("pactl", {"info"}) == 0; });
}

bool exists(qint64 pid) {
    return pid > 0 && ::kill(static_cast<pid_t>(pid), 0) == 0;
}

QByteArray contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool overwrite(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

} // namespace

/// The real program when something around it goes wrong: nothing the user has is lost, and the next
/// dictation works.
class HardshipTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_desk = std::make_unique<Desk>(MURLO_PROGRAM, MURLO_MODEL); }

    void cleanup() {
        m_desk.reset();
        // The next one finds a microphone again.
        (void)QProcess::execute("pactl", {"set-default-source", "murlo_mic.monitor"});
    }

    void aKilledEngineComesBack_data() {
        QTest::addColumn<bool>("busy");
        QTest::newRow("while idle") << false;
        QTest::newRow("in the middle of an inference") << true;
    }

    void aKilledEngineComesBack() {
        QFETCH(bool, busy);
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->startMurlo() && target.start());
        if (busy) {
            m_desk->expectTrouble("transcribe_failed");
            QVERIFY(m_desk->dictate(longer));
            letPass(100);
        }
        m_desk->murlo.forgetLog();
        const qint64 engine = m_desk->murlo.enginePid();
        QVERIFY(exists(engine));
        ::kill(static_cast<pid_t>(engine), SIGKILL);
        QVERIFY(m_desk->murlo.awaitLog("whisper-server: ready", 30000));
        QVERIFY(m_desk->murlo.enginePid() != engine);
        letPass(busy ? 500 : 0); // the failed one is told of before the next begins
        const QString before = target.text().value_or("?");
        QVERIFY(dictationLands(target, before + sentence));
    }

    void wordsBeforeTheMicrophoneWasUnpluggedLand() {
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->startMurlo() && target.start());
        QVERIFY(m_desk->begin());
        QVERIFY(m_desk->speak(sentence));
        QVERIFY(soundServer("unplug"));
        letPass(300);
        if (!m_desk->murlo.loggedAt(" chars in ")) m_desk->doubleTap();
        QVERIFY(m_desk->delivered());
        QVERIFY(Desk::holds(target, sentence));

        QVERIFY(soundServer("plug"));
        letPass(500);
        QVERIFY(dictationLands(target, sentence + sentence));
    }

    void dictationWorksAfterTheSoundServerWasRestarted() {
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->startMurlo() && target.start());
        QVERIFY(dictationLands(target, sentence));
        QVERIFY(restartSoundServer());
        letPass(500);
        QVERIFY(dictationLands(target, sentence + sentence));
    }

    void textGoesToTheBoxThatHadTheFocus() {
        QVERIFY(m_desk->startMurlo());
        TargetApp other(TargetApp::Kind::editor);
        QVERIFY(other.start());
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(target.start());
        QVERIFY(m_desk->dictate(sentence));
        QVERIFY(other.activate());
        QVERIFY(m_desk->delivered());
        QVERIFY(Desk::holds(target, sentence));
        QCOMPARE(other.text(), QString());
    }

    void textOfAClosedBoxIsInTheHistory() {
        QVERIFY(m_desk->startMurlo());
        {
            TargetApp target(TargetApp::Kind::gtkEntry);
            QVERIFY(target.start());
            QVERIFY(m_desk->dictate(sentence));
        }
        QVERIFY(m_desk->delivered());
        QTRY_COMPARE(m_desk->murlo.history(), QStringList{sentence});
    }

    void aHungProgramGetsItsTextWhenItGoesOn() {
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->startMurlo() && target.start());
        QVERIFY(m_desk->begin());
        QVERIFY(m_desk->speak(sentence));
        target.hang();
        m_desk->doubleTap();
        const bool delivered = m_desk->delivered(15000);
        target.resume();
        QVERIFY2(delivered, "Murlo waited for the program that hung");
        QTRY_COMPARE(m_desk->murlo.history(), QStringList{sentence});
        QVERIFY(Desk::holds(target, sentence));
    }

    void aTerminationSignalIsACleanQuit_data() {
        QTest::addColumn<int>("dictating");
        QTest::newRow("while idle") << 0;
        QTest::newRow("during the recording") << 1;
        QTest::newRow("during the transcription") << 2;
    }

    void aTerminationSignalIsACleanQuit() {
        QFETCH(int, dictating);
        QVERIFY(m_desk->startMurlo());
        if (dictating == 1) QVERIFY(m_desk->begin());
        if (dictating == 2) QVERIFY(m_desk->dictate(longer));
        m_desk->murlo.forgetLog();
        const qint64 engine = m_desk->murlo.enginePid();
        QVERIFY(exists(engine));
        QCOMPARE(m_desk->murlo.quit(5000), 0);
        QVERIFY(m_desk->murlo.awaitLog("app: terminated", 0));
        QVERIFY(!exists(engine));
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

    void aDamagedHistoryIsSetAside() {
        const QByteArray damaged = "[{\"id\": \"half an ent";
        QVERIFY(QDir().mkpath(m_desk->murlo.file({})));
        QVERIFY(overwrite(m_desk->murlo.file("history.json"), damaged));
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(m_desk->startMurlo() && target.start());
        QVERIFY(m_desk->dictate(sentence));
        QVERIFY(m_desk->delivered());
        QTRY_COMPARE(m_desk->murlo.history(), QStringList{sentence});
        QVERIFY(isKept("history*", damaged));
    }

    void damagedSettingsAreSetAside() {
        const QByteArray damaged = "{\"accountEmail\": ";
        QVERIFY(m_desk->murlo.seed(MURLO_MODEL));
        QVERIFY(overwrite(m_desk->murlo.file("settings.json"), damaged));
        QVERIFY(m_desk->murlo.start());
        QVERIFY(m_desk->murlo.awaitLog("whisper-server: ready"));
        QVERIFY(m_desk->murlo.awaitLog("settings: "));
        QCOMPARE(m_desk->murlo.quit(), 0);
        QVERIFY(isKept("settings*", damaged));
    }

    void aReadOnlySupportFolderKeepsNobodyFromDictating() {
        QVERIFY(m_desk->murlo.seed(MURLO_MODEL));
        QVERIFY(overwrite(m_desk->murlo.file("brisvane.log"), {}));
        QVERIFY(overwrite(m_desk->murlo.file("history.json"), "[]"));
        QVERIFY(QFile::setPermissions(m_desk->murlo.file("history.json"), QFile::ReadOwner));
        QVERIFY(m_desk->murlo.start());
        QVERIFY(m_desk->murlo.awaitReady());
        QVERIFY(QFile::setPermissions(m_desk->murlo.file({}), QFile::ReadOwner | QFile::ExeOwner));
        TargetApp target(TargetApp::Kind::gtkEntry);
        QVERIFY(target.start());
        QVERIFY(dictationLands(target, sentence));
        QVERIFY(m_desk->murlo.awaitLog("history: could not save"));
        m_desk->expectTrouble("could not save");
        const auto all = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner;
        QVERIFY(QFile::setPermissions(m_desk->murlo.file({}), all));
    }

private:
    /// Dictates the sentence; whether the box holds `text` then.
    [[nodiscard]] bool dictationLands(const TargetApp& target, const QString& text) const {
        return m_desk->dictate(sentence) && m_desk->delivered() && Desk::holds(target, text);
    }
    /// Whether some file of the support folder other than the current one holds the bytes.
    [[nodiscard]] bool isKept(const QString& pattern, const QByteArray& bytes) const {
        const QDir support(m_desk->murlo.file({}));
        const QStringList names = support.entryList({pattern}, QDir::Files);
        return std::ranges::any_of(
            names, [&](const QString& name) { return contents(support.filePath(name)) == bytes; });
    }

    std::unique_ptr<Desk> m_desk;
};

QTEST_MAIN(HardshipTest)
#include "HardshipTest.moc"
