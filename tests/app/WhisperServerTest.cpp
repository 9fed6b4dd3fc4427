#include "dictation/engine/WhisperServer.h"
#include "look/Words.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"
#include "tests/harness/Rows.h"
#include "tests/harness/TestLog.h"

using namespace murlo;

namespace {

constexpr quint16 port = 8756;

/// The supervisor among fakes, with a model file.
struct Rig {
    Rig() {
        putFile(*model, "a model");
        QObject::connect(&server, &WhisperServer::stateChanged, &server,
                         [this](const EngineState& state) { states << describe(state); });
    }

    static QString describe(const EngineState& state) {
        static const char* names[] = {"stopped", "loading", "ready", "failed: "};
        return QString::fromLatin1(names[state.state]) + Words::english(state.message);
    }
    [[nodiscard]] QString state() const { return describe(server.state()); }
    QStringList takeStates() {
        scheduler.runPending();
        return std::exchange(states, {});
    }
    void start() {
        server.start();
        scheduler.runPending();
    }
    void answerProbe() {
        http.answer(404, "not found", "/");
        scheduler.runPending();
    }
    void becomeReady() {
        start();
        answerProbe();
        QCOMPARE(state(), "ready");
    }
    void crash(int status) {
        processes.exit(status);
        scheduler.runPending();
    }
    [[nodiscard]] int launches() const { return static_cast<int>(processes.children.size()); }

    QTemporaryDir folder;
    std::optional<QString> model = folder.filePath("ggml-tiny.bin");
    QString language = "de";
    VirtualScheduler scheduler;
    TestLog log{scheduler};
    FakeProcessLauncher processes;
    FakeHttpClient http;
    QStringList states;
    QList<int> gpus; ///< that did not fail, the fastest first
    WhisperServer server{port,
                         scheduler,
                         processes,
                         http.maker(),
                         {[this] { return model; }, [this] { return language; },
                          [this](const QString&) {
                              EngineDevice device;
                              if (!gpus.isEmpty()) device.number = gpus.first();
                              return device;
                          },
                          [this](const EngineDevice& failed) { gpus.removeAll(failed.number); }}};
};

} // namespace

class WhisperServerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startsTheEngineWithItsExactCommandLine() {
        const auto commandLine = [](int cores, const QString& language, bool others, int gpu) {
            Rig rig;
            rig.processes.cores = cores;
            rig.language = language;
            if (others) rig.processes.takenPorts << port;
            if (gpu >= 0) rig.gpus << gpu;
            rig.start();
            QStringList line = rig.processes.last().arguments;
            line.replaceInStrings(*rig.model, "MODEL");
            return line.join(' ');
        };
        const QString line = "--model MODEL --host 127.0.0.1 --port %1 --threads %2 --language %3 "
                             "--no-timestamps --suppress-nst %4";
        QCOMPARE(commandLine(16, "auto", false, 1), line.arg("8756", "16", "auto", "--device 1"));
        QCOMPARE(commandLine(1, "", true, -1), line.arg("8757", "1", "en", "--no-gpu"));
    }

    void aGpuIsReadyOnceItHasTranscribed() {
        Rig rig;
        rig.gpus << 0;
        rig.start();
        rig.answerProbe();
        QCOMPARE(rig.state(), "loading");
        QVERIFY(rig.http.waiting().value(0).body.contains("RIFF"));
        rig.scheduler.advance(100); // compiling takes its time
        rig.http.answer(200, "{\"text\":\"\"}", "/inference");
        QCOMPARE(rig.state(), "ready");
        rig.server.hurry(); // nothing to hurry
        rig.server.giveUp(rig.server.run().number - 1);
        rig.scheduler.advance(1000);
        QCOMPARE(rig.launches(), 1);
    }

    void aGpuThatFailsHandsOverAtOnce_data() {
        const Rows<std::function<void(Rig&)>, bool> row; // how; whether it is set aside
        const auto compute = [](Rig& rig) { rig.answerProbe(); };
        const auto getReady = [](Rig& rig) {
            rig.answerProbe();
            rig.http.answer(200, "{\"text\":\"\"}", "/inference");
        };
        row(
            "ends at its start", [](Rig& rig) { rig.crash(11); }, true);
        row(
            "ends in its first run", [=](Rig& rig) { compute(rig), rig.crash(9); }, true);
        row(
            "refuses its first run",
            [=](Rig& rig) { compute(rig), rig.http.answer(500, "", "/inference"); }, true);
        row(
            "ends later", [=](Rig& rig) { getReady(rig), rig.crash(6); }, true);
        row(
            "never starts", [](Rig& rig) { rig.scheduler.advance(60); }, true);
        row(
            "never transcribes", [=](Rig& rig) { compute(rig), rig.scheduler.advance(121); }, true);
        row(
            "leaves a sentence unanswered",
            [=](Rig& rig) { getReady(rig), rig.server.giveUp(rig.server.run().number); }, true);
        row(
            "keeps a sentence waiting",
            [=](Rig& rig) { compute(rig), rig.server.hurry(), rig.scheduler.advance(5); }, false);
    }
    void aGpuThatFailsHandsOverAtOnce() {
        const auto [fail, isSetAside] = fetch<std::function<void(Rig&)>, bool>();
        Rig rig;
        rig.gpus << 0;
        rig.start();
        fail(rig);
        rig.scheduler.runPending();
        QCOMPARE(rig.gpus.isEmpty(), isSetAside);
        QCOMPARE(rig.launches(), 2);
        QVERIFY(rig.processes.last().arguments.contains("--no-gpu"));
        QCOMPARE(rig.state(), "loading");
        rig.answerProbe();
        QCOMPARE(rig.state(), "ready");
        rig.server.restart();
        rig.scheduler.runPending();
        QCOMPARE(rig.processes.last().arguments.contains("--no-gpu"), isSetAside);
    }

    void becomesReadyWithTheFirstAnswer() {
        Rig rig;
        rig.becomeReady();
        QCOMPARE(rig.launches(), 1);
        QCOMPARE(rig.processes.last().program, rig.processes.engineProgram());
        QCOMPARE(rig.http.sent().value(0).url, QUrl("http://127.0.0.1:8756/"));
        QCOMPARE(rig.server.inferenceURL(), QUrl("http://127.0.0.1:8756/inference"));
        QCOMPARE(rig.takeStates(), (QStringList{"loading", "ready"}));
        QCOMPARE(rig.log.lines(),
                 (QStringList{"whisper-server: launched on :8756 with ggml-tiny.bin",
                              "whisper-server: ready"}));
        QCOMPARE(rig.scheduler.pendingTimers(), 0);
    }

    void eachStartHasASecretOfItsOwn() {
        Rig rig;
        QSet<QByteArray> secrets;
        for (int start = 1; start <= 2; ++start) {
            rig.becomeReady();
            const HttpHeader secret = rig.server.credentials();
            secrets.insert(secret.second);
            QCOMPARE(rig.http.sent().last().headers, QList<HttpHeader>{secret});
            QVERIFY(rig.processes.last().environment.values().contains(
                QString::fromLatin1(secret.second)));
            QVERIFY(!rig.processes.last().arguments.join(' ').contains(secret.second));
            rig.server.shutdown();
        }
        QCOMPARE(secrets.size(), 2);
    }

    void failsWithoutWhatItNeeds() {
        const QString noModel = "No speech model installed yet. Relaunch Murlo to download it.";
        const QString noProgram = "The speech engine is missing from the app. Reinstall Murlo.";
        const auto program = [](const Rig& rig) { return rig.processes.engineProgram(); };
        const std::pair<std::function<void(Rig&)>, QString> cases[] = {
            {[](Rig& rig) { rig.model.reset(); }, noModel},
            {[](Rig& rig) { rig.model = ""; }, noModel},
            {[](Rig& rig) { rig.model = "/nowhere/model.bin"; }, noModel},
            {[](Rig& rig) { rig.model = rig.folder.path(); }, noModel},
            {[&](Rig& rig) { QFile::remove(program(rig)); }, noProgram},
            {[&](Rig& rig) { QFile::setPermissions(program(rig), QFile::ReadOwner); }, noProgram},
            {[&](Rig& rig) {
                 QFile::remove(program(rig));
                 QDir().mkpath(program(rig));
             },
             noProgram}};
        for (const auto& [takeAway, sentence] : cases) {
            if (sentence == noProgram && WhisperServer::locateBinary({}))
                QSKIP("another engine is installed on this machine");
            Rig rig;
            takeAway(rig);
            rig.start();
            QCOMPARE(rig.state(), "failed: " + sentence);
            QCOMPARE(rig.launches(), 0);
            QVERIFY(rig.processes.runs.isEmpty());
            QCOMPARE(rig.scheduler.pendingTimers(), 0);
        }
    }

    void aProgramThatDoesNotStartMayBeTriedAgain() {
        Rig rig;
        rig.processes.launchError = "Permission denied";
        rig.start();
        QCOMPARE(rig.state(), "failed: Could not start the speech engine. Permission denied");
        QCOMPARE(rig.scheduler.pendingTimers(), 0);
        rig.processes.launchError.clear();
        rig.becomeReady();
    }

    void probesEveryHalfSecondUntilAnAnswer() {
        Rig rig;
        rig.start();
        QCOMPARE(rig.http.waiting().size(), 1);
        rig.http.fail("Connection refused");
        rig.scheduler.advance(0.49);
        QCOMPARE(rig.http.sent().size(), 1);
        rig.scheduler.advance(0.01);
        QCOMPARE(rig.http.sent().size(), 2);
        rig.scheduler.advance(2.0); // no answer within its limit
        QCOMPARE(rig.http.waiting().size(), 0);
        rig.scheduler.advance(0.5);
        QCOMPARE(rig.http.sent().size(), 3);
        rig.processes.last().ownsPort = false; // an answer of somebody else is none
        rig.answerProbe();
        QCOMPARE(rig.state(), "loading");
        rig.scheduler.advance(0.5);
        rig.processes.last().ownsPort = true;
        rig.answerProbe();
        rig.scheduler.advance(600);
        QCOMPARE(rig.state(), "ready");
        QCOMPARE(rig.http.sent().size(), 4);
    }

    void loadingEndsAfterThreeMinutes() {
        Rig rig;
        rig.start();
        rig.scheduler.advance(179.9);
        QCOMPARE(rig.state(), "loading");
        rig.scheduler.advance(0.1);
        QCOMPARE(rig.state(), "failed: The speech engine did not start in time. Try Restart in "
                              "Settings, under Speech.");
        const auto probes = rig.http.sent().size();
        rig.scheduler.advance(100);
        QCOMPARE(rig.http.sent().size(), probes);
        QVERIFY(rig.processes.last().running);
        rig.start(); // it is still running: nothing to do
        QCOMPARE(rig.launches(), 1);
        rig.crash(7); // its end is handled like any other
        QCOMPARE(rig.state(), "loading");
    }

    void comesBackAfterExitsWithGrowingDelaysAndThenGivesUp() {
        Rig rig;
        rig.becomeReady();
        for (int crash = 0; crash < 5; ++crash) { // readiness gives all restarts back
            rig.crash(6);
            rig.scheduler.advance(2);
            rig.answerProbe();
            QCOMPARE(rig.state(), "ready");
        }
        for (const double delay : {2, 5, 15}) {
            rig.crash(11);
            QCOMPARE(rig.state(), "loading");
            const int before = rig.launches();
            rig.scheduler.advance(delay - 0.01);
            QCOMPARE(rig.launches(), before);
            rig.scheduler.advance(0.01);
            QCOMPARE(rig.launches(), before + 1);
        }
        rig.crash(11);
        QCOMPARE(
            rig.state(),
            "failed: The speech engine keeps stopping (code 11). Open Settings, under Speech.");
        rig.scheduler.advance(1000);
        QCOMPARE(rig.launches(), 9);
        QCOMPARE(rig.log.lines("whisper-server: exited (code 11)"),
                 (QStringList{"whisper-server: exited (code 11), restarting in 2s (attempt 1)",
                              "whisper-server: exited (code 11), restarting in 5s (attempt 2)",
                              "whisper-server: exited (code 11), restarting in 15s (attempt 3)"}));

        rig.server.restart(); // with all three restarts before it again
        rig.scheduler.runPending();
        rig.crash(1);
        rig.start(); // brings the waiting restart forward
        QCOMPARE(rig.launches(), 11);
        rig.scheduler.advance(10);
        QCOMPARE(rig.launches(), 11);
        rig.crash(1);
        rig.scheduler.advance(5);
        QCOMPARE(rig.launches(), 12);
    }

    void shutdownAndRestartAreHeededAtEveryMoment_data() {
        const Rows<> moment;
        for (const char* each : {"ready", "probe under way", "between probes", "before a restart",
                                 "orphan letting go", "start only asked for"})
            moment(each);
    }
    void shutdownAndRestartAreHeededAtEveryMoment() {
        const QByteArray moment = QTest::currentDataTag();
        const auto bring = [&](Rig& rig) {
            if (moment == "orphan letting go") rig.processes.runStatus = 0;
            rig.server.start();
            if (moment == "start only asked for") return;
            rig.scheduler.runPending();
            if (moment == "ready" || moment == "before a restart") rig.answerProbe();
            if (moment == "before a restart") rig.crash(3);
            if (moment == "between probes") rig.http.fail("Connection refused");
        };
        Rig stopped;
        bring(stopped);
        stopped.server.shutdown();
        QCOMPARE(stopped.state(), "stopped");
        const int launches = stopped.launches();
        stopped.takeStates();
        stopped.server.shutdown(); // once more changes nothing
        stopped.scheduler.advance(300);
        QVERIFY(stopped.takeStates().isEmpty());
        QCOMPARE(stopped.log.lines("whisper-server: exited").size(),
                 moment == "before a restart" ? 1 : 0); // an end that was asked for is no crash
        QCOMPARE(stopped.state(), "stopped");
        QCOMPARE(stopped.launches(), launches);
        QVERIFY(stopped.http.waiting().isEmpty());
        for (const auto& child : stopped.processes.children) QVERIFY(!child->running);

        Rig restarted;
        bring(restarted);
        restarted.server.restart();
        restarted.scheduler.advance(0.1);
        QVERIFY(restarted.processes.last().running);
        QCOMPARE(restarted.http.waiting().size(), 1);
        restarted.answerProbe();
        QCOMPARE(restarted.state(), "ready");
        for (const auto& child : restarted.processes.children)
            QCOMPARE(child->running, child == restarted.processes.children.back());
        restarted.scheduler.advance(300);
        QCOMPARE(restarted.state(), "ready");
    }

    void anOrphanIsToldToEndBeforeEveryLaunch() {
        Rig rig;
        rig.processes.runStatus = 0;
        rig.start();
        QCOMPARE(rig.processes.runs,
                 (QList<QStringList>{{"/usr/bin/pkill", "-f", "whisper-server .*--port 8756"}}));
        QCOMPARE(rig.log.lines(),
                 QStringList{"whisper-server: cleared an orphaned instance on :8756"});
        rig.start(); // asked again while the port gets free
        rig.scheduler.advance(0.39);
        QCOMPARE(rig.launches(), 0);
        rig.scheduler.advance(0.01);
        QCOMPARE(rig.launches(), 1);
        rig.processes.runStatus = std::nullopt; // the program is not there
        rig.crash(1);
        rig.scheduler.advance(2);
        QCOMPARE(rig.processes.runs.size(), 2);
        QCOMPARE(rig.launches(), 2);
    }

    void logsWhatTheEngineSaysOfItselfAndNeverSpeech() {
        Rig rig;
        rig.start();
        rig.processes.print("error: no such\n");
        rig.answerProbe();
        rig.processes.print(" the upload failed\nggml_x: failed");
        rig.crash(1); // ends the last line, too
        const QStringList lines = rig.log.lines();
        QVERIFY(lines.contains("whisper-server: error: no such"));
        QVERIFY(lines.contains("whisper-server: ggml_x: failed"));
        QVERIFY(lines.filter("upload").isEmpty());
        rig.scheduler.advance(2); // the next process was not sent any speech yet
        rig.processes.print("error: the same\n");
        rig.scheduler.runPending();
        QVERIFY(rig.log.lines().contains("whisper-server: error: the same"));
    }
};

QTEST_GUILESS_MAIN(WhisperServerTest)
#include "WhisperServerTest.moc"
