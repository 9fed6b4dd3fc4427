#include "Figures.h"
#include "dictation/engine/EngineDevices.h"
#include "dictation/engine/WhisperServer.h"
#include "platform/Platform.h"
#include "tests/harness/Files.h"
#include "tests/harness/desktop/DeepModel.h"
#include "tests/harness/desktop/Speaker.h"
#include "tests/harness/desktop/Waiting.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

namespace murlo {

namespace {

constexpr int rounds = 7;
constexpr quint16 firstPort = 8790;
constexpr int startLimit = 180'000;  // milliseconds
constexpr int answerLimit = 120'000; // milliseconds

/// An engine of a build on a port of its own, without anything around it.
class Engine {
public:
    Engine(Platform& platform, const QString& program, const QString& model, quint16 port)
        : m_platform(platform)
        , m_port(port) {
        m_process.start(program, {QStringLiteral("--model"), model, QStringLiteral("--host"),
                                  QStringLiteral("127.0.0.1"), QStringLiteral("--port"),
                                  QString::number(port), QStringLiteral("--threads"),
                                  QString::number(platform.processes->computingCores()),
                                  QStringLiteral("--language"), QStringLiteral("en"),
                                  QStringLiteral("--no-timestamps"),
                                  QStringLiteral("--suppress-nst"), QStringLiteral("--no-gpu")});
    }
    ~Engine() {
        m_process.kill();
        m_process.waitForFinished();
    }
    [[nodiscard]] bool awaitReady() const {
        return waitFor(
            [this] {
                return m_platform.processes->ownsListeningPort(m_process.processId(), m_port);
            },
            startLimit);
    }
    /// Seconds for an answer; nothing when none came.
    [[nodiscard]] std::optional<double> answer(const QByteArray& clip) const {
        QUrl url(QStringLiteral("http://127.0.0.1/inference"));
        url.setPort(m_port);
        const auto http = m_platform.makeHttpClient([this](double limit, Work work) {
            return m_platform.scheduler->after(limit, std::move(work));
        });
        bool came = false;
        const double start = seconds();
        const auto task =
            Transcriber(*http, url, {})
                .transcribe(clip, QStringLiteral("en"), {},
                            [&](const TranscribeResult& result) { came = result.has_value(); });
        return waitFor([&] { return came; }, answerLimit, 1) ? std::optional(seconds() - start)
                                                             : std::nullopt;
    }

private:
    Platform& m_platform;
    quint16 m_port;
    QProcess m_process;
};

/// The full build beside the quick one, request by request in turn.
std::optional<Figure> fullBesideQuick(Platform& platform, const QString& quick, const QString& full,
                                      const QString& model, const QString& name,
                                      const QByteArray& clip) {
    progress(QStringLiteral("both builds of the engine with ") + name);
    const Engine one(platform, quick, model, firstPort);
    const Engine other(platform, full, model, firstPort + 1);
    if (!one.awaitReady() || !other.awaitReady() || !one.answer(clip) || !other.answer(clip))
        return std::nullopt;
    QList<double> quickTimes;
    QList<double> fullTimes;
    for (int i = 0; i < rounds; ++i) {
        quickTimes << one.answer(clip).value_or(0);
        fullTimes << other.answer(clip).value_or(0);
    }
    return Figure{QStringLiteral("an answer of the full build, ") + name, median(fullTimes) * 1000,
                  QStringLiteral("ms"), median(quickTimes) * 1000,
                  QStringLiteral("the quick build")};
}

/// What murlo-measure prints, and the seconds it took.
std::pair<QByteArray, double> measured(const QString& engine, const QStringList& options) {
    QProcess process;
    const double start = seconds();
    process.start(QFileInfo(engine).dir().filePath(QStringLiteral("murlo-measure")), options);
    process.waitForFinished(answerLimit);
    return {process.readAllStandardOutput(), seconds() - start};
}

/// For every model of a folder what a sentence takes, beside what is predicted for it.
QList<Figure> predictions(Platform& platform, const QString& engine, const EngineSpeed& speed,
                          const QDir& models, const QByteArray& clip) {
    QList<Figure> figures;
    for (const QFileInfo& file : models.entryInfoList({QStringLiteral("*.bin")}, QDir::Files)) {
        const auto model = EngineDevices::modelIn(file.filePath());
        const auto predicted =
            model ? EngineSpeed::predict(*model, speed.devices.value(0)) : std::nullopt;
        if (!predicted) continue;
        progress(QStringLiteral("a sentence with ") + file.fileName());
        const Engine one(platform, engine, file.filePath(), firstPort);
        if (!one.awaitReady() || !one.answer(clip)) continue;
        const double seconds = median({one.answer(clip).value_or(0), one.answer(clip).value_or(0),
                                       one.answer(clip).value_or(0)});
        figures << Figure{QStringLiteral("a sentence of five seconds, ") + file.fileName(), seconds,
                          QStringLiteral("s"), *predicted, QStringLiteral("predicted")};
    }
    return figures;
}

} // namespace

QList<Figure> engineFigures(const QString& model, const QString& models) {
    const QString quick = qEnvironmentVariable("MURLO_ENGINE");
    const QString full = qEnvironmentVariable("MURLO_ENGINE_FULL");
    QTemporaryDir folder;
    Platform platform = loadPlatform();
    const QString file = folder.filePath(QStringLiteral("clip.wav"));
    if (!Speaker::synthesize(QStringLiteral("The train to the coast leaves at noon on Thursday and "
                                            "returns in the evening."),
                             file))
        return {};
    const QByteArray clip = contentOf(file);
    const QString used = full.isEmpty() ? quick : full;
    QList<Figure> figures;
    progress(QStringLiteral("the measurement of the devices"));
    const double listing = measured(used, {QStringLiteral("--list")}).second;
    const auto [output, took] = measured(used, {});
    const EngineSpeed speed = EngineSpeed::parse(output);
    figures << Figure{QStringLiteral("measuring the devices"), took, QStringLiteral("s"), listing,
                      QStringLiteral("naming them")};
    figures << Figure{QStringLiteral("processor time that the measurement got"), speed.share,
                      QString(), 1, QStringLiteral("all of it")};
    if (full.isEmpty()) {
        progress(QStringLiteral("the full build of the engine is not there: ./dev bench --engine "
                                "full makes it"));
    } else {
        for (const int layers : {0, 24, 88}) {
            QString deep = model;
            if (layers > 0) {
                deep = folder.filePath(QStringLiteral("deep.bin"));
                if (!writeDeepModel(model, deep, layers)) continue;
            }
            const QString name = layers > 0 ? QStringLiteral("%1 encoder layers").arg(layers)
                                            : QStringLiteral("the mini model");
            if (const auto figure = fullBesideQuick(platform, quick, full, deep, name, clip))
                figures << *figure;
        }
    }
    if (!models.isEmpty()) figures += predictions(platform, used, speed, QDir(models), clip);
    return figures;
}

} // namespace murlo
