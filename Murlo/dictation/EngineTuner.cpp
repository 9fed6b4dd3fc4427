#include "dictation/EngineTuner.h"

#include "dictation/DictationController.h"
#include "dictation/engine/EngineDevices.h"
#include "dictation/engine/WhisperServer.h"
#include "support/Log.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

namespace murlo {

namespace {

constexpr double firstLook = 1;      // seconds after the start, which is busy
constexpr double listLimit = 20;     // seconds to name the devices
constexpr double measureLimit = 150; // seconds to measure them; drivers compile programs for it
constexpr double quietPoll = 1;      // seconds between two looks whether a measurement may begin
// Other programs that keep the processor busy make the engine's threads wait for each other: with
// half of the processor a measurement told a fiftieth of the speed. It is repeated then.
constexpr double fairShare = 0.9;   // of the processor, from which a measurement is good
constexpr double leastShare = 0.7;  // from which it is better than none
constexpr double soon = 5;          // seconds to the next measurement, at first
constexpr double later = 60;        // and then
constexpr int measurementsSoon = 5; // the first ones follow each other so
constexpr int mostMeasurements = 10;
constexpr double settleAfter = 30; // seconds without a dictation
constexpr qsizetype mostOutput = 1'000'000;

void log(const QString& message) {
    Log::write(QStringLiteral("engine: ") + message);
}

/// The measuring program lies beside the engine; nothing when there is none.
std::optional<QFileInfo> measuringProgram(const QString& resourceFolder) {
    const auto engine = WhisperServer::locateBinary(resourceFolder);
    if (!engine) return std::nullopt;
    const QFileInfo program(QFileInfo(*engine).dir(), QStringLiteral("murlo-measure"));
    return program.isExecutable() ? std::optional(program) : std::nullopt;
}

/// What identifies the measuring program, which comes with the engine, and the devices that it
/// named.
QString identityOf(const QFileInfo& program, const QByteArray& listed) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(QByteArray::number(program.size()));
    hash.addData(program.lastModified().toUTC().toString(Qt::ISODateWithMs).toUtf8());
    for (const QByteArray& line : listed.split('\n')) {
        QJsonObject device = QJsonDocument::fromJson(line).object();
        device.remove(QStringLiteral("memory_free"));
        hash.addData(QJsonDocument(device).toJson(QJsonDocument::Compact));
    }
    return QString::fromLatin1(hash.result().toHex());
}

} // namespace

EngineTuner::EngineTuner(const Partners& partners)
    : m_with(partners) {
    const auto look = [this] { settle(); };
    connect(&m_with.devices, &EngineDevices::changed, this, look);
    connect(&m_with.server, &WhisperServer::stateChanged, this, look);
    connect(&m_with.controller, &DictationController::stateChanged, this, look);
}

void EngineTuner::begin() {
    m_step = m_with.scheduler.after(firstLook, [this] {
        run({QStringLiteral("--list")}, listLimit, [this](const auto& output) { listed(output); });
    });
}

void EngineTuner::run(const QStringList& arguments, double limit,
                      std::function<void(const QByteArray&)> done) {
    const auto program = measuringProgram(m_with.processes.resourceFolder());
    if (!program) {
        log(QStringLiteral("there is no program that measures devices"));
        return;
    }
    m_output.clear();
    m_done = std::move(done);
    // With as many threads as the engine.
    auto child = m_with.processes.launch(
        program->filePath(),
        QStringList{QStringLiteral("--threads"),
                    QString::number(m_with.processes.computingCores())} +
            arguments,
        {},
        {.output =
             [this](const QByteArray& piece) {
                 m_output += piece.first(
                     std::min(piece.size(), std::max<qsizetype>(0, mostOutput - m_output.size())));
             },
         .exited = [this](int) { ended(); }});
    if (!child) {
        log(QStringLiteral("devices cannot be measured: ") + child.error());
        return;
    }
    m_child = std::move(*child);
    m_limit = m_with.scheduler.after(limit, [this] {
        log(QStringLiteral("the measurement hangs and is ended"));
        m_child->kill();
        ended();
    });
}

void EngineTuner::ended() {
    m_limit.cancel();
    m_child.reset();
    std::exchange(m_done, {})(m_output);
}

void EngineTuner::listed(const QByteArray& output) {
    const auto program = measuringProgram(m_with.processes.resourceFolder());
    if (!program) return;
    m_machine = identityOf(*program, output);
    const bool isKnown = m_with.devices.knows(m_machine);
    m_bestShare = isKnown ? m_with.devices.speed().share : 0;
    if (m_bestShare >= fairShare) return;
    m_measurements = 0;
    measureWhenQuiet();
}

bool EngineTuner::isQuiet() const {
    return m_with.controller.state().state == DictationState::idle &&
           m_with.server.state().state != EngineState::loading;
}

void EngineTuner::measureWhenQuiet() {
    if (!isQuiet()) {
        m_step = m_with.scheduler.after(quietPoll, [this] { measureWhenQuiet(); });
        return;
    }
    ++m_measurements;
    run({}, measureLimit, [this](const auto& output) { measured(output); });
}

void EngineTuner::measured(const QByteArray& output) {
    const EngineSpeed speed = EngineSpeed::parse(output);
    const bool isKnown = !speed.devices.isEmpty() && speed.devices.first().wasMeasured();
    const bool isLast = m_measurements == mostMeasurements;
    const bool isWorthKeeping = speed.share >= leastShare || isLast;
    if (isKnown && isWorthKeeping && speed.share > m_bestShare) {
        m_bestShare = speed.share;
        m_with.devices.setMeasured(m_machine, output);
        for (const EngineDevice& device : speed.devices)
            log(QStringLiteral("%1 %2").arg(
                device.name, device.wasMeasured() ? QStringLiteral("was measured")
                                                  : QStringLiteral("could not be measured")));
    }
    if (!isKnown) log(QStringLiteral("the measurement told nothing"));
    if ((isKnown && speed.share >= fairShare) || isLast) return;
    m_step = m_with.scheduler.after(m_measurements < measurementsSoon ? soon : later,
                                    [this] { measureWhenQuiet(); });
}

void EngineTuner::settle() {
    m_settle.cancel();
    const EngineRun run = m_with.server.run();
    const auto isBetter = [this, run] {
        return m_with.devices.deviceFor(run.modelPath).key() != run.device.key();
    };
    if (m_with.server.state().state != EngineState::ready || !isBetter()) return;
    m_settle = m_with.scheduler.after(settleAfter, [this, isBetter] {
        if (!isQuiet() || !isBetter()) return; // the end of the dictation brings it here again
        log(QStringLiteral("another device is faster, so the engine starts anew"));
        m_with.server.restart();
    });
}

} // namespace murlo
