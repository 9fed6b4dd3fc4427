#include "dictation/engine/Transcriber.h"
#include "dictation/engine/WhisperServer.h"
#include "look/Words.h"
#include "platform/linux/processes/QtProcessLauncher.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/TestLog.h"
#include "tests/harness/desktop/DeepModel.h"
#include "tests/harness/desktop/MurloProcess.h"
#include "tests/harness/desktop/Speaker.h"

#include <QProcess>
#include <QRegularExpression>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>

namespace murlo {

namespace {

constexpr int patience = 60'000; ///< milliseconds for what another program does
const QString sentence = QStringLiteral("There was fighting in the streets.");

QString engineProgram() {
    return qEnvironmentVariable("MURLO_ENGINE");
}

QString smallModel() {
    return QFINDTESTDATA("../data/ggml-mini-en.bin");
}

/// Processor time that a program has used, in clock ticks.
int ticksUsed(qint64 pid) {
    const QByteArray stat = contentOf(QStringLiteral("/proc/%1/stat").arg(pid));
    const auto columns = stat.split(')').last().split(' ');
    return columns.value(12).toInt() + columns.value(13).toInt();
}

/// A supervisor with everything real but for its time, which passes ten times as fast, on a port of
/// its own.
struct Engine {
    explicit Engine(const QString& model = smallModel(), quint16 onPort = freePort(),
                    const QString& program = engineProgram())
        : port(onPort)
        , launcher(folder.path())
        , server(port, time, launcher,
                 [](Delay delay) { return std::make_unique<QtHttpClient>(std::move(delay)); },
                 {[model] { return model; }, [] { return QStringLiteral("en"); },
                  [](const QString&) { return EngineDevice(); }, [](const EngineDevice&) {}}) {
        QObject::connect(&passing, &QTimer::timeout, &passing, [this] { time.advance(0.1); });
        passing.start(10);
        QDir(folder.path()).mkpath("bin");
        QFile::link(program, folder.filePath("bin/whisper-server"));
        QObject::connect(&server, &WhisperServer::stateChanged, &server,
                         [this](const EngineState& state) { states << state; });
    }

    [[nodiscard]] static qint64 pid() { return engineOf(QCoreApplication::applicationPid()); }
    [[nodiscard]] int launches() const {
        return static_cast<int>(log.lines("whisper-server: launched").size());
    }
    [[nodiscard]] bool waitFor(EngineState::Case state) {
        return QTest::qWaitFor([&] { return server.state().state == state; }, patience);
    }
    void start() {
        server.start();
        QVERIFY(waitFor(EngineState::ready));
    }
    /// Sends what keeps it busy for seconds, and waits until it is at work.
    void occupy() {
        const QByteArray clip = speech(QStringList(30, sentence).join(' '));
        const qint64 engine = pid();
        const int enough = ticksUsed(engine) + 20;
        request = transcribe(clip, result);
        QVERIFY(QTest::qWaitFor([&] { return ticksUsed(engine) > enough; }, patience));
        QVERIFY(!result);
    }
    void expectTranscript(const QString& spoken = sentence) {
        std::optional<TranscribeResult> answer;
        const auto task = transcribe(speech(spoken), answer);
        QTRY_VERIFY_WITH_TIMEOUT(answer, patience);
        QVERIFY2(answer->has_value(), qUtf8Printable(Words::english(answer->error().message())));
        QCOMPARE(**answer, spoken);
    }

    const quint16 port;
    QTemporaryDir folder;
    QtProcessLauncher launcher;
    QtScheduler scheduler;
    VirtualScheduler time;
    QTimer passing;
    QtHttpClient http{
        [this](double seconds, Work work) { return scheduler.after(seconds, std::move(work)); }};
    TestLog log{time};
    QList<EngineState> states;
    WhisperServer server;
    std::optional<TranscribeResult> result; ///< of the request that `occupy` made
    std::unique_ptr<HttpTask> request;

private:
    /// What espeak-ng makes of the text.
    [[nodiscard]] QByteArray speech(const QString& text) const {
        const QString file = folder.filePath("clip.wav");
        return Speaker::synthesize(text, file) ? contentOf(file) : QByteArray();
    }
    std::unique_ptr<HttpTask> transcribe(const QByteArray& wav,
                                         std::optional<TranscribeResult>& into) {
        return Transcriber(http, server.inferenceURL(), server.credentials())
            .transcribe(wav, "en", {},
                        [&into](TranscribeResult answer) { into = std::move(answer); });
    }
};

} // namespace

class EngineTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;

    /// A file of its own with these contents, which can be run if it is a program.
    [[nodiscard]] QString file(const QString& name, const QByteArray& contents) const {
        putFile(m_folder.filePath(name), contents, QFile::ExeOwner);
        return m_folder.filePath(name);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(
            QFileInfo(engineProgram()).isExecutable(),
            "The speech engine is not built, or the environment variable MURLO_ENGINE does not "
            "name its program; ./dev test sees to both.");
    }

    void clearsAnOrphanOfAnEarlierRunAndTranscribesExactly() {
        Engine engine;
        QProcess orphan;
        orphan.start(engine.folder.filePath("bin/whisper-server"),
                     {"--model", smallModel(), "--port", QString::number(engine.port)});
        QVERIFY(orphan.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(engine.launcher.ownsListeningPort(orphan.processId(), engine.port),
                                 patience);
        engine.start();
        QTRY_COMPARE(orphan.state(), QProcess::NotRunning);
        engine.expectTranscript("Push the function to the password.");
        engine.expectTranscript("He rode into the mouth of the canyon.");
    }

    void comesBackAfterAKillAndLeavesNothingAfterShutdown() {
        Engine engine;
        engine.start();
        engine.occupy();
        const qint64 first = Engine::pid();
        QVERIFY(first > 0);
        ::kill(static_cast<pid_t>(first), SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(engine.launches() == 2, patience);
        QVERIFY(engine.waitFor(EngineState::ready));
        QTRY_VERIFY(engine.result);
        QVERIFY(!engine.result->has_value());
        engine.expectTranscript();

        engine.result.reset();
        engine.occupy();
        QVERIFY(Engine::pid() > 0);
        engine.server.shutdown();
        QCOMPARE(Engine::pid(), 0);
        QCOMPARE(engine.server.state(), EngineState{});
        QCOMPARE(engine.log.lines("whisper-server: exited"),
                 QStringList{"whisper-server: exited (code 9), restarting in 2s (attempt 1)"});
    }

    // With a deep model it is the encoder that takes the time. At its end the engine tells how many
    // runs of it were whole: those of the answers, and none of a preview that was given up.
    void aCancelledPreviewLeavesTheEngineFree() {
        const QString deep = m_folder.filePath("deep.bin");
        QVERIFY(writeDeepModel(smallModel(), deep, 24));
        const QString said = m_folder.filePath("said");
        const QString script =
            QString("#!/bin/sh\nexec '%1' \"$@\" 2>'%2'\n").arg(engineProgram(), said);
        Engine engine(deep, freePort(), file("engine", script.toUtf8()));
        engine.start();
        for (int preview = 0; preview < 3; ++preview) {
            engine.occupy();
            engine.request->cancel();
            engine.expectTranscript();
        }
        QVERIFY(!engine.result);
        engine.server.shutdown();
        const QString output = contentOf(said);
        QCOMPARE(output.count("failed to encode"), 3);
        const QRegularExpression runs("encode time = .*/ +(\\d+) runs");
        QCOMPARE(runs.match(output).captured(1), "3");
    }

    void nobodyElseIsHeard() {
        Engine engine;
        engine.start();
        const QByteArray form = "Content-Type: multipart/form-data; boundary=x\r\n"
                                "Content-Length: 98\r\n\r\n--x\r\nContent-Disposition: form-data; "
                                "name=\"model\"\r\n\r\n/etc/passwd\r\n--x--\r\n";
        for (const QByteArray& request :
             {"POST /load HTTP/1.1\r\n" + form, "POST /inference HTTP/1.1\r\n" + form,
              "POST /inference HTTP/1.1\r\nX-Whisper-Server-Secret: 0\r\n" + form,
              QByteArray("POST /inference HTTP/1.1\r\nContent-Length: 900000000\r\n\r\n"),
              QByteArray("OPTIONS /inference HTTP/1.1\r\nOrigin: http://example.com\r\n\r\n"),
              QByteArray("GET / HTTP/1.1\r\n\r\n")}) {
            QTcpSocket stranger;
            stranger.connectToHost(QHostAddress::LocalHost, engine.port);
            QVERIFY(stranger.waitForConnected());
            stranger.write(request);
            QVERIFY2(stranger.waitForReadyRead(patience), request.constData());
            const QByteArray answer = stranger.readAll();
            QVERIFY2(answer.startsWith("HTTP/1.1 403"), (request + answer).constData());
            QVERIFY(!answer.contains("Access-Control"));
        }
        engine.expectTranscript();
        QCOMPARE(engine.launches(), 1);
        const HttpHeader secret = engine.server.credentials();
        QVERIFY(secret.second.size() >= 32);
        QCOMPARE(engine.log.lines().filter(QString::fromLatin1(secret.second)), QStringList());
    }

    void aStrangerOnThePortHearsNothingAndThePortIsTakenWhenItLeaves() {
        LoopbackServer stranger;
        Engine engine(smallModel(), stranger.serverPort());
        engine.server.start();
        QVERIFY(engine.waitFor(EngineState::ready)); // on another port
        QVERIFY(engine.server.inferenceURL().port() != engine.port);
        QVERIFY(stranger.requests.isEmpty());

        QTcpSocket client; // the stranger hangs up first, and the system remembers that for a while
        client.connectToHost(QHostAddress::LocalHost, engine.port);
        QVERIFY(client.waitForConnected());
        client.write("GET / HTTP/1.1\r\n\r\n");
        QTRY_COMPARE(client.state(), QTcpSocket::UnconnectedState);
        stranger.close();
        engine.server.restart();
        QTRY_COMPARE_WITH_TIMEOUT(engine.launches(), 2, patience);
        QVERIFY(engine.waitFor(EngineState::ready));
        QCOMPARE(engine.server.inferenceURL().port(), engine.port);
    }

    void aTruncatedModelEndsInTheKeepsStoppingState() {
        Engine engine(file("half.bin", contentOf(smallModel()).first(1'000'000)));
        engine.server.start();
        QVERIFY(engine.waitFor(EngineState::failed));
        QVERIFY(Words::english(engine.server.state().message)
                    .startsWith("The speech engine keeps stopping"));
        QCOMPARE(engine.launches(), 4);
        QVERIFY(!engine.log.lines("whisper-server: error: failed").isEmpty());
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::EngineTest)
#include "EngineTest.moc"
