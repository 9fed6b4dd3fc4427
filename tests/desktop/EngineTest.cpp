#include "MurloKit/WavWriter.h"
#include "dictation/engine/Transcriber.h"
#include "dictation/engine/WhisperServer.h"
#include "look/Words.h"
#include "platform/linux/processes/QtProcessLauncher.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/TestLog.h"
#include "tests/harness/ValidatingServer.h"
#include "tests/harness/desktop/DeepModel.h"
#include "tests/harness/desktop/Speaker.h"

#include <QDir>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <csignal>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace murlo {

namespace {

constexpr int patience = 60'000; ///< milliseconds for what another program does

QString smallModel() {
    return QFINDTESTDATA("../data/ggml-mini-en.bin");
}

/// Remembers what it started.
class WatchedLauncher : public QtProcessLauncher {
public:
    using QtProcessLauncher::QtProcessLauncher;

    tl::expected<std::unique_ptr<ChildProcess>, QString> launch(const QString& program,
                                                                const QStringList& arguments,
                                                                const Environment& environment,
                                                                ChildHandlers handlers) override {
        auto child =
            QtProcessLauncher::launch(program, arguments, environment, std::move(handlers));
        if (child) {
            lastPid = static_cast<int>((*child)->pid());
            ++launches;
        }
        return child;
    }
    std::atomic<int> lastPid = 0;
    std::atomic<int> launches = 0;
};

bool isAlive(int pid) {
    return ::kill(pid, 0) == 0;
}

/// Processor time that a program has used, in clock ticks.
int ticksUsed(int pid) {
    QFile file(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!file.open(QIODevice::ReadOnly)) return 0;
    const auto columns = file.readAll().split(')').last().split(' ');
    return columns.value(12).toInt() + columns.value(13).toInt();
}

/// What an engine is asked to do while something happens to it.
enum class Moment { idle, loading, transcribing };

void addMoments() {
    QTest::addColumn<Moment>("moment");
    QTest::newRow("idle") << Moment::idle;
    QTest::newRow("loading") << Moment::loading;
    QTest::newRow("transcribing") << Moment::transcribing;
}

/// A supervisor with everything real but for its time, on a port of its own.
struct Engine {
    /// `hurry` is how much faster the supervisor's time passes, at most.
    Engine(const QString& program, const QString& modelFile, quint16 onPort = freePort(),
           int hurry = 10)
        : port(onPort)
        , model(modelFile)
        , launcher(folder.path()) {
        QObject::connect(&passing, &QTimer::timeout, &passing,
                         [this, hurry] { time.advance(hurry * tick / 1000.0); });
        passing.start(tick);
        QDir(folder.path()).mkpath("bin");
        if (!program.isEmpty()) {
            QFile::link(program, folder.filePath("bin/whisper-server"));
        }
        server = std::make_unique<WhisperServer>(
            port, time, launcher,
            [](Delay delay) { return std::make_unique<QtHttpClient>(std::move(delay)); },
            [this] { return model; }, [] { return QStringLiteral("en"); });
        QObject::connect(server.get(), &WhisperServer::stateChanged, server.get(),
                         [this](const EngineState& state) { states << state; });
    }

    [[nodiscard]] bool waitFor(EngineState::Case state) {
        return QTest::qWaitFor([&] { return server->state().state == state; }, patience);
    }
    std::unique_ptr<HttpTask> transcribe(const QByteArray& wav,
                                         std::optional<TranscribeResult>& result) {
        return Transcriber(http, server->inferenceURL(), server->credentials())
            .transcribe(wav, "en", {},
                        [&result](TranscribeResult answer) { result = std::move(answer); });
    }

    static constexpr int tick = 10; ///< milliseconds

    quint16 port;
    QTemporaryDir folder;
    std::optional<QString> model;

    WatchedLauncher launcher;
    QtScheduler scheduler;
    VirtualScheduler time;
    QTimer passing;
    QtHttpClient http{
        [this](double seconds, Work work) { return scheduler.after(seconds, std::move(work)); }};
    TestLog log{time};
    QList<EngineState> states;
    std::unique_ptr<WhisperServer> server;
};

} // namespace

class EngineTest : public QObject {
    Q_OBJECT

    /// What espeak-ng makes of the text.
    QByteArray speech(const QString& text) {
        const QString path = m_folder.filePath("clip.wav");
        if (!Speaker::synthesize(text, path)) return {};
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// Starts the engine and returns once it is in the midst of what `moment` says.
    void bring(Engine& engine, Moment moment) {
        engine.server->start();
        QTRY_VERIFY_WITH_TIMEOUT(engine.launcher.launches == 1, patience);
        if (moment == Moment::loading) return;
        QVERIFY(engine.waitFor(EngineState::ready));
        if (moment == Moment::idle) return;
        const int before = ticksUsed(engine.launcher.lastPid);
        m_request = engine.transcribe(speech(longSpeech()), m_result);
        QTRY_VERIFY_WITH_TIMEOUT(ticksUsed(engine.launcher.lastPid) > before + 20, patience);
        QVERIFY(!m_result);
    }
    /// Keeps the engine busy for seconds.
    static QString longSpeech() {
        return QStringLiteral("There was fighting in the streets. ").repeated(30);
    }
    void expectTranscript(Engine& engine, const QString& sentence) {
        std::optional<TranscribeResult> result;
        const auto request = engine.transcribe(speech(sentence), result);
        QTRY_VERIFY_WITH_TIMEOUT(result, patience);
        QVERIFY2(result->has_value(), qUtf8Printable(Words::english(result->error().message())));
        QCOMPARE(**result, sentence);
    }
    QString script(const QByteArray& lines) {
        QFile file(m_folder.filePath("script"));
        if (file.open(QIODevice::WriteOnly)) file.write(lines);
        return file.fileName();
    }

    QTemporaryDir m_folder;
    QString m_program;
    const QString m_scripted = MURLO_SCRIPTED_ENGINE;
    std::optional<TranscribeResult> m_result; ///< of the request that `bring` made
    std::unique_ptr<HttpTask> m_request;

private Q_SLOTS:
    void initTestCase() {
        m_program = qEnvironmentVariable("MURLO_ENGINE");
        QVERIFY2(
            QFileInfo(m_program).isExecutable(),
            "The speech engine is not built, or the environment variable MURLO_ENGINE does not "
            "name its program; ./dev test sees to both.");
        QVERIFY2(QFileInfo::exists(smallModel()), "tests/data/ggml-mini-en.bin is missing.");
    }
    void cleanup() {
        m_request.reset();
        m_result.reset();
    }

    void transcribesExactly_data() {
        QTest::addColumn<QString>("sentence");
        for (const char* sentence :
             {"Push the function to the password.", "There was fighting in the streets.",
              "He rode into the mouth of the canyon."}) {
            QTest::newRow(sentence) << QString::fromLatin1(sentence);
        }
    }
    void transcribesExactly() {
        QFETCH(QString, sentence);
        Engine engine(m_program, smallModel());
        bring(engine, Moment::idle);
        expectTranscript(engine, sentence);
    }

    void comesBackAfterAKill_data() { addMoments(); }
    void comesBackAfterAKill() {
        QFETCH(Moment, moment);
        Engine engine(m_program, smallModel());
        bring(engine, moment);
        const int killed = engine.launcher.lastPid;
        ::kill(killed, SIGKILL);
        QTRY_VERIFY_WITH_TIMEOUT(engine.launcher.launches == 2, patience);
        QVERIFY(engine.waitFor(EngineState::ready));
        QVERIFY(engine.log.lines().contains(
            "whisper-server: exited (code 9), restarting in 2s (attempt 1)"));
        if (moment == Moment::transcribing) {
            QTRY_VERIFY(m_result);
            QVERIFY(!m_result->has_value());
        }
        expectTranscript(engine, "There was fighting in the streets.");
    }

    void nothingIsLeftAfterShutdown_data() { addMoments(); }
    void nothingIsLeftAfterShutdown() {
        QFETCH(Moment, moment);
        Engine engine(m_program, smallModel());
        bring(engine, moment);
        engine.server->shutdown();
        QVERIFY(!isAlive(engine.launcher.lastPid));
        QCOMPARE(engine.server->state(), EngineState{});
        QVERIFY(engine.log.lines("whisper-server: exited").isEmpty());
    }

    void restartWhileLoadingStartsAnew() {
        Engine engine(m_program, smallModel());
        bring(engine, Moment::loading);
        const int first = engine.launcher.lastPid;
        engine.server->restart();
        QTRY_VERIFY_WITH_TIMEOUT(engine.launcher.launches == 2, patience);
        QVERIFY(!isAlive(first));
        QVERIFY(engine.waitFor(EngineState::ready));
    }

    // Its work is counted, not its time: who gives a preview up must not wait for the encoder's
    // run.
    void aCancelledPreviewLeavesTheEngineFree() {
        const QString deep = m_folder.filePath("deep.bin");
        QVERIFY(writeDeepModel(smallModel(), deep, 24));
        const QString sentence = "There was fighting in the streets.";
        Engine engine(m_program, deep);
        bring(engine, Moment::idle);
        const auto workOf = [&](const std::function<void()>& request) {
            const int before = ticksUsed(engine.launcher.lastPid);
            request();
            return ticksUsed(engine.launcher.lastPid) - before;
        };
        const int alone = workOf([&] { expectTranscript(engine, sentence); });
        for (int i = 0; i < 3; ++i) {
            m_request = engine.transcribe(speech(longSpeech()), m_result);
            const int before = ticksUsed(engine.launcher.lastPid);
            QTRY_VERIFY_WITH_TIMEOUT(ticksUsed(engine.launcher.lastPid) > before + 20, patience);
            m_request->cancel();
            const int after = workOf([&] { expectTranscript(engine, sentence); });
            QVERIFY2(
                after < alone + alone / 3,
                qPrintable(QString("%1 ticks after a preview, %2 alone").arg(after).arg(alone)));
            QVERIFY(!m_result);
        }
    }

    void nobodyElseIsHeard_data() {
        QTest::addColumn<QByteArray>("request");
        const QByteArray form = "Content-Type: multipart/form-data; boundary=x\r\n"
                                "Content-Length: 98\r\n\r\n--x\r\nContent-Disposition: form-data; "
                                "name=\"model\"\r\n\r\n/etc/passwd\r\n--x--\r\n";
        QTest::newRow("another model") << "POST /load HTTP/1.1\r\n" + form;
        QTest::newRow("a sentence") << "POST /inference HTTP/1.1\r\n" + form;
        QTest::newRow("a wrong secret")
            << "POST /inference HTTP/1.1\r\nX-Whisper-Server-Secret: 0\r\n" + form;
        QTest::newRow("a body that never comes")
            << QByteArray("POST /inference HTTP/1.1\r\nContent-Length: 900000000\r\n\r\n");
        QTest::newRow("may a page ask?")
            << QByteArray("OPTIONS /inference HTTP/1.1\r\nOrigin: http://example.com\r\n\r\n");
        QTest::newRow("the page") << QByteArray("GET / HTTP/1.1\r\n\r\n");
    }
    void nobodyElseIsHeard() {
        QFETCH(QByteArray, request);
        Engine engine(m_program, smallModel());
        bring(engine, Moment::idle);
        const int pid = engine.launcher.lastPid;
        QTcpSocket stranger;
        stranger.connectToHost(QHostAddress::LocalHost, engine.port);
        QVERIFY(stranger.waitForConnected());
        stranger.write(request);
        QVERIFY(stranger.waitForReadyRead(patience));
        const QByteArray answer = stranger.readAll();
        QVERIFY2(answer.startsWith("HTTP/1.1 403"), answer.constData());
        QVERIFY(!answer.contains("Access-Control"));
        expectTranscript(engine, "There was fighting in the streets.");
        QVERIFY(isAlive(pid));
        QCOMPARE(engine.launcher.launches, 1);
        const HttpHeader secret = engine.server->credentials();
        QVERIFY(secret.second.size() >= 32);
        QCOMPARE(engine.log.lines().filter(QString::fromLatin1(secret.second)), QStringList());
    }

    void aPortThatAStrangerHasJustLeftIsTakenAtOnce() {
        quint16 port = 0;
        {
            ValidatingServer stranger;
            stranger.answer = [](const auto&) { return ServerAnswer{200, "hello"}; };
            QVERIFY(stranger.listen(QHostAddress::LocalHost));
            port = stranger.serverPort();
            for (int i = 0; i < 3; ++i) {
                QTcpSocket client;
                client.connectToHost(QHostAddress::LocalHost, port);
                QVERIFY(client.waitForConnected());
                client.write("GET / HTTP/1.1\r\nConnection: close\r\n\r\n");
                QTRY_VERIFY(client.state() == QTcpSocket::UnconnectedState);
            }
        }
        Engine engine(m_program, smallModel(), port);
        engine.server->start();
        QVERIFY(engine.waitFor(EngineState::ready));
        QCOMPARE(engine.launcher.launches, 1);
    }

    void speechNeverGoesToAStranger() {
        ValidatingServer stranger;
        QVERIFY(stranger.listen(QHostAddress::LocalHost));
        Engine engine(m_program, smallModel(), stranger.serverPort());
        engine.server->start();
        QVERIFY(engine.waitFor(EngineState::failed));
        QCOMPARE(Words::english(engine.server->state().message),
                 "The speech engine keeps stopping (code 1). Open Settings, under Speech.");
        QVERIFY(!engine.states.contains(EngineState{EngineState::ready, {}}));
        for (const auto& request : stranger.requests)
            QCOMPARE(request.method + request.path, "GET/");
    }

    void aStrangerThatSharesThePortKeepsTheEngineFromBeingReady() {
        const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof yes);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        QCOMPARE(::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        QCOMPARE(::listen(socket, 16), 0);
        ValidatingServer stranger;
        QVERIFY(stranger.setSocketDescriptor(socket));

        Engine engine(m_program, smallModel(), stranger.serverPort());
        engine.server->start();
        QTRY_VERIFY_WITH_TIMEOUT(stranger.requests.size() >= 10, patience);
        QCOMPARE(engine.server->state().state, EngineState::loading);
        QCOMPARE(engine.launcher.launches, 1); // it could bind, and runs
        stranger.close();
        QVERIFY(engine.waitFor(EngineState::ready));
    }

    void anOrphanOfAnEarlierRunIsCleared() {
        Engine engine(m_program, smallModel());
        QProcess orphan;
        orphan.start(engine.folder.filePath("bin/whisper-server"),
                     {"--model", smallModel(), "--port", QString::number(engine.port)});
        QVERIFY(orphan.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(engine.launcher.ownsListeningPort(orphan.processId(), engine.port),
                                 patience);
        engine.server->start();
        QVERIFY(engine.waitFor(EngineState::ready));
        QTRY_COMPARE(orphan.state(), QProcess::NotRunning);
        QCOMPARE(
            engine.log.lines().value(0),
            QStringLiteral("whisper-server: cleared an orphaned instance on :%1").arg(engine.port));
    }

    void aTruncatedModelEndsInTheKeepsStoppingState() {
        QFile whole(smallModel());
        QVERIFY(whole.open(QIODevice::ReadOnly));
        Engine engine(m_program, script(whole.read(1'000'000)));
        engine.server->start();
        QVERIFY(engine.waitFor(EngineState::failed));
        QVERIFY(Words::english(engine.server->state().message)
                    .startsWith("The speech engine keeps stopping"));
        QCOMPARE(engine.launcher.launches, 4);
        QVERIFY(!engine.log.lines("whisper-server: error: failed").isEmpty());
    }

    void aChildThatIgnoresSigtermIsKilled() {
        Engine engine(m_scripted, script("ignore-sigterm"));
        bring(engine, Moment::idle);
        engine.server->shutdown();
        QVERIFY(!isAlive(engine.launcher.lastPid));
    }

    void aChildThatNeverListensRunsOutOfTime() {
        Engine engine(m_scripted, script("hang"), freePort(), 100);
        engine.server->start();
        QVERIFY(engine.waitFor(EngineState::failed));
        QCOMPARE(Words::english(engine.server->state().message),
                 "The speech engine did not start in time. Try Restart in Settings, "
                 "under Speech.");
    }

    void aFloodOfOutputHarmsNothing() {
        Engine engine(m_scripted, script("flood 30\nprint error: flooded"));
        bring(engine, Moment::idle);
        int logged = 0;
        for (const QString& line : engine.log.lines()) logged += static_cast<int>(line.size());
        QVERIFY2(logged < 2000, qPrintable(QString::number(logged)));
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::EngineTest)
#include "EngineTest.moc"
