#include "dictation/engine/WhisperServer.h"

#include "support/Log.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <array>

namespace murlo {

namespace {

constexpr std::array respawnDelays{2.0, 5.0, 15.0}; ///< seconds before each restart
constexpr double startLimit = 180;                  ///< seconds for the model to load
constexpr double probePause = 0.5; ///< seconds between an answer and the next probe
constexpr double probeLimit = 2;   ///< seconds for one answer
constexpr double portPause = 0.4;  ///< seconds for a killed orphan to release the port
constexpr double reapLimit = 5;    ///< seconds for the clean-up program

void log(const QString& message) {
    Log::write(QStringLiteral("whisper-server: ") + message);
}

/// Environment variable from which the engine reads its secret (packaging/engine.patch).
const QString secretVariable = QStringLiteral("WHISPER_SERVER_SECRET");
const QByteArray secretHeader = QByteArrayLiteral("X-Whisper-Server-Secret");

/// Any page in a browser and any user of the machine can reach a port of the loopback interface.
QByteArray newSecret() {
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), static_cast<qsizetype>(words.size()));
    return QByteArray(reinterpret_cast<const char*>(words.data()), sizeof words).toHex();
}

} // namespace

WhisperServer::WhisperServer(quint16 port, Scheduler& scheduler, ProcessLauncher& processes,
                             MakeHttpClient makeHttpClient,
                             std::function<std::optional<QString>()> modelPath,
                             std::function<QString()> language)
    : m_port(port)
    , m_scheduler(scheduler)
    , m_processes(processes)
    , m_makeHttpClient(std::move(makeHttpClient))
    , m_modelPath(std::move(modelPath))
    , m_language(std::move(language))
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

void WhisperServer::shutdown() {
    m_queue->sync([this] { terminate(); });
}

WhisperServer::State WhisperServer::state() const {
    const std::lock_guard guard(m_stateLock);
    return m_state;
}

qint64 WhisperServer::run() const {
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
    result.setPort(m_port);
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
    const QString model = m_modelPath().value_or(QString());
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
    const QString commandLine = QStringLiteral("whisper-server .*--port %1").arg(m_port);
    const auto status = m_processes.run(QStringLiteral("/usr/bin/pkill"),
                                        {QStringLiteral("-f"), commandLine}, reapLimit);
    if (status != 0) return false;
    log(QStringLiteral("cleared an orphaned instance on :%1").arg(m_port));
    return true;
}

void WhisperServer::spawn(const QString& program, const QString& model) {
    const QString language = m_language();
    const int threads = std::max(4, m_processes.activeProcessorCount() - 2);
    const QStringList arguments = {
        QStringLiteral("--model"),         model,
        QStringLiteral("--host"),          QStringLiteral("127.0.0.1"),
        QStringLiteral("--port"),          QString::number(m_port),
        QStringLiteral("--threads"),       QString::number(threads),
        QStringLiteral("--language"),      language.isEmpty() ? QStringLiteral("en") : language,
        QStringLiteral("--no-timestamps"), QStringLiteral("--suppress-nst")};
    const QByteArray secret = newSecret();
    {
        const std::lock_guard guard(m_stateLock);
        m_secret = secret;
        ++m_run;
    }
    m_output = std::make_unique<EngineOutput>(log);
    auto child =
        m_processes.launch(program, arguments, {{secretVariable, QString::fromLatin1(secret)}},
                           {.output = [this](const QByteArray& piece) { m_output->add(piece); },
                            .exited = [this](int status) { exited(status); }});
    if (!child) {
        fail(Word::engineNotStarted + Message(Word::asReported, {child.error()}));
        return;
    }
    m_child = std::move(*child);
    log(QStringLiteral("launched on :%1 with %2").arg(m_port).arg(QFileInfo(model).fileName()));
    m_deadline = m_queue->after(startLimit, [this] {
        stopProbing();
        fail(Word::engineNotInTime);
    });
    probe();
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
    m_deadline.cancel();
    m_output->setHeardSpeech();
    m_respawnAttempts = 0;
    setState({State::ready, {}});
    log(QStringLiteral("ready"));
}

void WhisperServer::exited(int status) {
    stopProbing();
    m_output->finish();
    m_child.reset();
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
