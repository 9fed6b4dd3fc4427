#include "dictation/engine/WhisperServer.h"

#include "MurloKit/WavWriter.h"
#include "dictation/recording/AudioConverter.h"
#include "support/Log.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <array>

namespace murlo {

namespace {

constexpr std::array respawnDelays{2.0, 5.0, 15.0}; ///< seconds before each restart
constexpr double startLimit = 180;                  ///< seconds for the model to load
constexpr double gpuStartLimit = 60;                ///< the same on a GPU, which has an alternative
constexpr double gpuPatience = 5;  ///< seconds from a GPU's start during which clips wait for it
constexpr double probePause = 0.5; ///< seconds between an answer and the next probe
constexpr double probeLimit = 2;   ///< seconds for one answer
constexpr double portPause = 0.4;  ///< seconds for a killed orphan to release the port
constexpr double reapLimit = 5;    ///< seconds for the clean-up program

void log(const QString& message) {
    Log::write(QStringLiteral("whisper-server: ") + message);
}

/// Environment variable from which the engine reads its secret (packaging/engine.patch).
const QString secretVariable = QStringLiteral("WHISPER_SERVER_SECRET");
/// With any value, an engine that aborts just ends: otherwise it first starts a debugger, if there
/// is one, and waits for it.
const QString noBacktraceVariable = QStringLiteral("GGML_NO_BACKTRACE");
const QByteArray secretHeader = QByteArrayLiteral("X-Whisper-Server-Secret");

/// Any page in a browser and any user of the machine can reach a port of the loopback interface.
QByteArray newSecret() {
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), static_cast<qsizetype>(words.size()));
    return QByteArray(reinterpret_cast<const char*>(words.data()), sizeof words).toHex();
}

} // namespace

WhisperServer::WhisperServer(quint16 port, Scheduler& scheduler, ProcessLauncher& processes,
                             MakeHttpClient makeHttpClient, EngineChoices choices)
    : m_usualPort(port)
    , m_scheduler(scheduler)
    , m_processes(processes)
    , m_makeHttpClient(std::move(makeHttpClient))
    , m_choices(std::move(choices))
    , m_port(port)
    , m_queue(scheduler.makeSerialQueue(QStringLiteral("brisvane.whisper-server"))) {}

WhisperServer::~WhisperServer() {
    m_queue->sync([this] {
        terminate();
        m_http.reset();
    });
    m_queue.reset();
}

void WhisperServer::start() {
    m_queue->async([this] { launch(); });
}

void WhisperServer::restart() {
    m_queue->async([this] {
        m_respawnAttempts = 0;
        terminate();
        launch();
    });
}

void WhisperServer::hurry() {
    m_queue->async([this] {
        if (!m_child || m_hurry.isPending() || run().device.isProcessor() ||
            state().state != State::loading)
            return;
        const double left = m_spawnedAt + gpuPatience - m_scheduler.uptime();
        m_hurry = m_queue->after(std::max(0.0, left), [this] {
            log(QStringLiteral("a clip waits, so the processor takes the place of %1 for now")
                    .arg(run().device.name));
            m_processorNext = true;
            replace();
        });
    });
}

void WhisperServer::giveUp(qint64 number) {
    m_queue->async([this, number] {
        const EngineRun current = run();
        if (m_child && current.number == number && !current.device.isProcessor())
            deviceFailed(QStringLiteral("did not answer"));
    });
}

void WhisperServer::shutdown() {
    m_queue->sync([this] { terminate(); });
}

WhisperServer::State WhisperServer::state() const {
    const std::lock_guard guard(m_stateLock);
    return m_state;
}

EngineRun WhisperServer::run() const {
    const std::lock_guard guard(m_stateLock);
    return m_run;
}

HttpHeader WhisperServer::credentials() const {
    const std::lock_guard guard(m_stateLock);
    return {secretHeader, m_secret};
}

QUrl WhisperServer::url(const QString& path) const {
    QUrl result;
    result.setScheme(QStringLiteral("http"));
    result.setHost(QStringLiteral("127.0.0.1"));
    {
        const std::lock_guard guard(m_stateLock);
        result.setPort(m_port);
    }
    result.setPath(path);
    return result;
}

std::optional<QString> WhisperServer::locateBinary(const QString& resourceFolder) {
    for (const QString& path : {resourceFolder + QStringLiteral("/bin/whisper-server"),
                                QStringLiteral("/opt/homebrew/bin/whisper-server"),
                                QStringLiteral("/usr/local/bin/whisper-server")}) {
        const QFileInfo file(path);
        if (file.isFile() && file.isExecutable()) return path;
    }
    return std::nullopt;
}

void WhisperServer::launch() {
    if (m_child || m_step.isPending()) return; // running, or about to
    m_respawn.cancel();
    const auto program = locateBinary(m_processes.resourceFolder());
    if (!program) {
        fail(Word::engineMissing);
        return;
    }
    const QString model = m_choices.modelPath().value_or(QString());
    if (model.isEmpty() || !QFileInfo(model).isFile()) {
        fail(Word::noModel);
        return;
    }
    setState({State::loading, {}});
    const double pause = reapOrphan() ? portPause : 0;
    m_step = m_queue->after(pause, [this, program = *program, model] { spawn(program, model); });
}

/// Whether an engine of an earlier run was found and told to end.
bool WhisperServer::reapOrphan() {
    const QString commandLine = QStringLiteral("whisper-server .*--port %1").arg(m_usualPort);
    const auto status = m_processes.run(QStringLiteral("/usr/bin/pkill"),
                                        {QStringLiteral("-f"), commandLine}, reapLimit);
    if (status != 0) return false;
    log(QStringLiteral("cleared an orphaned instance on :%1").arg(m_usualPort));
    return true;
}

QStringList WhisperServer::arguments(const EngineRun& run, quint16 port) const {
    const QString language = m_choices.language();
    QStringList all = {
        QStringLiteral("--model"),         run.modelPath,
        QStringLiteral("--host"),          QStringLiteral("127.0.0.1"),
        QStringLiteral("--port"),          QString::number(port),
        QStringLiteral("--threads"),       QString::number(m_processes.computingCores()),
        QStringLiteral("--language"),      language.isEmpty() ? QStringLiteral("en") : language,
        QStringLiteral("--no-timestamps"), QStringLiteral("--suppress-nst")};
    if (run.device.isProcessor())
        all << QStringLiteral("--no-gpu");
    else
        all << QStringLiteral("--device") << QString::number(run.device.number);
    return all;
}

void WhisperServer::spawn(const QString& program, const QString& model) {
    const bool takesProcessor = std::exchange(m_processorNext, false);
    const EngineDevice device = takesProcessor ? EngineDevice() : m_choices.device(model);
    const quint16 port = m_processes.freePort(m_usualPort).value_or(m_usualPort);
    const QByteArray secret = newSecret();
    const EngineRun started{run().number + 1, device, model};
    {
        const std::lock_guard guard(m_stateLock);
        m_secret = secret;
        m_port = port;
        m_run = started;
    }
    m_output = std::make_unique<EngineOutput>(log);
    auto child = m_processes.launch(
        program, arguments(started, port),
        {{secretVariable, QString::fromLatin1(secret)}, {noBacktraceVariable, QStringLiteral("1")}},
        {.output = [this](const QByteArray& piece) { m_output->add(piece); },
         .exited = [this](int status) { exited(status); }});
    if (!child) {
        fail(Word::engineNotStarted + Message(Word::asReported, {child.error()}));
        return;
    }
    m_child = std::move(*child);
    m_spawnedAt = m_scheduler.uptime();
    log(QStringLiteral("launched on :%1 with %2").arg(port).arg(QFileInfo(model).fileName()));
    if (!device.isProcessor()) log(QStringLiteral("runs on ") + device.name);
    m_deadline = m_queue->after(device.isProcessor() ? startLimit : gpuStartLimit,
                                [this] { startTookTooLong(); });
    probe();
}

void WhisperServer::startTookTooLong() {
    if (!run().device.isProcessor()) {
        deviceFailed(QStringLiteral("did not start in time"));
        return;
    }
    stopProbing();
    fail(Word::engineNotInTime);
}

void WhisperServer::probe() {
    if (!m_http) {
        m_http = m_makeHttpClient([queue = m_queue.get()](double seconds, Work work) {
            return queue->after(seconds, std::move(work));
        });
    }
    HttpRequest request;
    request.url = url(QStringLiteral("/"));
    request.headers = {credentials()};
    request.timeout = probeLimit;
    m_probe =
        m_http->send(request, [this](const HttpResult& result) { answered(result.has_value()); });
}

/// After a successful probe: checks that our own child answered.
void WhisperServer::answered(bool anything) {
    m_probe.reset();
    if (!anything || !m_child->isRunning() ||
        !m_processes.ownsListeningPort(m_child->pid(), m_port)) {
        m_step = m_queue->after(probePause, [this] { probe(); });
        return;
    }
    if (run().device.isProcessor())
        becomeReady();
    else
        warmUp();
}

/// A GPU's driver compiles its programs when they are first needed. The deadline of such a request,
/// two minutes, is the transcriber's.
void WhisperServer::warmUp() {
    m_deadline.cancel();
    constexpr int rate = AudioConverter::targetSampleRate;
    const QByteArray silence = WavWriter::data(std::vector<float>(rate), rate);
    m_probe = Transcriber(*m_http, inferenceURL(), credentials())
                  .transcribe(silence, m_choices.language(), {}, [this](const auto& result) {
                      if (!result)
                          deviceFailed(QStringLiteral("could not transcribe"));
                      else
                          becomeReady();
                  });
}

void WhisperServer::becomeReady() {
    stopProbing();
    m_output->setHeardSpeech();
    m_respawnAttempts = 0;
    setState({State::ready, {}});
    log(QStringLiteral("ready"));
}

void WhisperServer::exited(int status) {
    stopProbing();
    m_output->finish();
    m_child.reset();
    if (!run().device.isProcessor()) {
        deviceFailed(QStringLiteral("ended (code %1)").arg(status));
        return;
    }
    if (m_respawnAttempts == static_cast<int>(respawnDelays.size())) {
        fail({Word::engineKeepsStopping, {QString::number(status)}});
        return;
    }
    const double delay = respawnDelays.at(static_cast<std::size_t>(m_respawnAttempts++));
    setState({State::loading, {}});
    log(QStringLiteral("exited (code %1), restarting in %2s (attempt %3)")
            .arg(status)
            .arg(delay, 0, 'f', 0)
            .arg(m_respawnAttempts));
    m_respawn = m_queue->after(delay, [this] { launch(); });
}

/// The next best device takes over at once: there are as many of these as there are devices.
void WhisperServer::deviceFailed(const QString& how) {
    const EngineDevice device = run().device;
    log(QStringLiteral("%1 %2; it is set aside").arg(device.name, how));
    m_choices.deviceFailed(device);
    replace();
}

void WhisperServer::replace() {
    stopProbing();
    m_child.reset();
    setState({State::loading, {}});
    launch();
}

void WhisperServer::terminate() {
    setState({State::stopped, {}});
    stopProbing();
    m_respawn.cancel();
    m_child.reset(); // SIGTERM, then SIGKILL; no exit callback
}

void WhisperServer::stopProbing() {
    m_step.cancel();
    m_deadline.cancel();
    m_probe.reset();
    m_hurry.cancel();
}

void WhisperServer::setState(State state) {
    {
        const std::lock_guard guard(m_stateLock);
        if (m_state == state) return;
        m_state = state;
    }
    m_scheduler.nextTurn(m_lifetime.guard([this, state] { Q_EMIT stateChanged(state); }));
}

} // namespace murlo
