#include "AppDelegate.h"
#include "CompositionRoot.h"
#include "Figures.h"
#include "Screen.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/desktop/DeepModel.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Speaker.h"
#include "tests/harness/desktop/TargetApp.h"
#include "tests/harness/desktop/Waiting.h"

#include <QClipboard>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTimer>

#include <atomic>

namespace murlo {

namespace {

constexpr int rounds = 7;
constexpr int deepLayers = 24; ///< as slow as the model that is called "base"

/// Notes when the first audio of a recording arrives, and passes everything on.
class TimedEngine : public AudioEngine {
public:
    TimedEngine(std::shared_ptr<AudioEngine> engine, std::atomic<double>& first)
        : m_engine(std::move(engine))
        , m_first(first) {}

    AudioFormat inputFormat() override { return m_engine->inputFormat(); }
    tl::expected<void, PlatformError> installTap(std::size_t frames, Tap tap) override {
        return m_engine->installTap(frames,
                                    [this, tap = std::move(tap)](const AudioBuffer& buffer) {
                                        double none = 0;
                                        m_first.compare_exchange_strong(none, seconds());
                                        tap(buffer);
                                    });
    }
    void removeTap() override { m_engine->removeTap(); }
    tl::expected<void, PlatformError> start() override { return m_engine->start(); }
    void stop() override { m_engine->stop(); }
    bool isRunning() const override { return m_engine->isRunning(); }
    void observeConfigurationChange(std::function<void()> changed) override {
        m_engine->observeConfigurationChange(std::move(changed));
    }

private:
    std::shared_ptr<AudioEngine> m_engine;
    std::atomic<double>& m_first;
};

class TimedInput : public AudioInput {
public:
    explicit TimedInput(std::unique_ptr<AudioInput> input)
        : m_input(std::move(input)) {}

    std::shared_ptr<AudioEngine> makeEngine() override {
        return std::make_shared<TimedEngine>(m_input->makeEngine(), first);
    }
    std::shared_ptr<void> observeDefaultInput(std::function<void()> changed) override {
        return m_input->observeDefaultInput(std::move(changed));
    }

    std::atomic<double> first = 0; ///< when audio first came since this was set to 0

private:
    std::unique_ptr<AudioInput> m_input;
};

/// Keeps a copy of the last clip sent, tells of each answer when its clip had been sent, and passes
/// everything on.
class RememberingClient : public HttpClient {
public:
    struct Notes {
        HttpRequest last;
        std::function<void(double sent)> answered = [](double /*sent*/) {};
    };

    RememberingClient(std::unique_ptr<HttpClient> client, Notes& notes)
        : m_client(std::move(client))
        , m_notes(notes) {}

    std::unique_ptr<HttpTask> send(const HttpRequest& request,
                                   std::function<void(HttpResult)> completion) override {
        if (request.method != "POST") return m_client->send(request, std::move(completion));
        m_notes.last = request;
        return m_client->send(
            request, [this, sent = seconds(), done = std::move(completion)](HttpResult result) {
                done(std::move(result));
                m_notes.answered(sent);
            });
    }

private:
    std::unique_ptr<HttpClient> m_client;
    Notes& m_notes;
};

/// A whole Murlo in this process, with clocks inside.
class TimedMurlo {
public:
    TimedMurlo(const QString& folder, const QString& model)
        : m_platform(loadPlatform()) {
        auto timed = std::make_unique<TimedInput>(std::move(m_platform.audioInput));
        input = timed.get();
        m_platform.audioInput = std::move(timed);
        m_platform.makeHttpClient = [this, make = m_platform.makeHttpClient](Delay delay) {
            return std::make_unique<RememberingClient>(make(std::move(delay)), m_notes);
        };
        const Paths paths(folder);
        QDir().mkpath(paths.models());
        QFile::copy(model, paths.models() + QStringLiteral("/bench.bin"));
        m_backend.answer.body = R"({"text":"No."})"; // whatever was said
        BackendConfig config = BackendConfig::read({});
        config.baseURL = m_backend.url().adjusted(QUrl::RemovePath);
        m_root = std::make_unique<CompositionRoot>(m_platform, paths, *m_disk,
                                                   WhisperServer::usualPort, config);
        m_root->client.apiKey = [] {
            return KeyAnswer{KeyAnswer::present, QStringLiteral("bench")};
        };
        m_root->settings.set(SettingKey::accountEmail, QStringLiteral("bench@example.com"));
        m_root->settings.set(SettingKey::playSounds, false);
        m_delegate = std::make_unique<AppDelegate>(*m_root, [] {});
        m_delegate->didFinishLaunching();
    }

    [[nodiscard]] bool awaitReady() const {
        return waitFor([this] { return m_root->server.state().state == EngineState::ready; },
                       60000);
    }
    /// Has every text rewritten, by a backend that answers at once.
    void setEnhance(bool on) { m_root->settings.set(SettingKey::enhancePrompt, on); }
    /// Seconds that the engine takes for the last clip, asked with nothing around it.
    [[nodiscard]] double bareRequest() const {
        const auto client = m_platform.makeHttpClient([this](double limit, Work work) {
            return m_platform.scheduler->after(limit, std::move(work));
        });
        const double start = seconds();
        const auto task = client->send(HttpRequest(m_notes.last), [](const HttpResult&) {});
        awaitAnswer(start);
        return seconds() - start;
    }
    /// Sleeps until a clip that was sent after `moment` has its answer: who looked every moment
    /// would take from the engine what it is measured for.
    void awaitAnswer(double moment) const {
        QEventLoop loop;
        QTimer::singleShot(10'000, &loop, &QEventLoop::quit);
        m_notes.answered = [&](double sent) {
            if (sent >= moment) loop.quit();
        };
        loop.exec();
        m_notes.answered = [](double /*sent*/) {};
    }

    TimedInput* input = nullptr;

private:
    Platform m_platform;
    std::unique_ptr<SerialQueue> m_disk =
        m_platform.scheduler->makeSerialQueue(QStringLiteral("bench.disk"));
    mutable RememberingClient::Notes m_notes;
    LoopbackServer m_backend;
    std::unique_ptr<CompositionRoot> m_root;
    std::unique_ptr<AppDelegate> m_delegate;
};

void tapShift(PhysicalKeyboard& keyboard) {
    keyboard.press("LFSH");
    letPass(60);
    keyboard.release("LFSH");
    letPass(80);
}

struct Rounds {
    QList<double> toSample;
    QList<double> toCard;
    QList<double> toText;
    QList<double> engine;

    /// Seconds from the release to the text that the engine did not need; the median of pairs.
    [[nodiscard]] double beyond() const {
        QList<double> each;
        for (qsizetype i = 0; i < toText.size(); ++i) each.append(toText[i] - engine[i]);
        return median(each);
    }
};

/// Dictations of a length: one that ends before the first preview leaves the engine nothing else to
/// do; one that ends shortly after a preview began finds it busy.
Rounds dictate(TimedMurlo& murlo, TargetApp& app, const QString& speech, int milliseconds) {
    PhysicalKeyboard keyboard;
    Speaker speaker;
    ScreenPatch badge(QRect(450, 783, 10, 10)); // its red disc, on the card in the middle below
    Rounds result;
    for (int i = 0; i < rounds; ++i) {
        letPass(1500); // the last one's clipboard and warm engine are in place again
        tapShift(keyboard);
        murlo.input->first = 0;
        badge.rememberEmpty();
        const double trigger = seconds();
        keyboard.press("LFSH");
        (void)waitFor([&] { return badge.canBeRead(); }, 5000, 0);
        const double card = badge.isKnown() ? seconds() - trigger : 0; // the first one shows how
        (void)waitFor([&] { return murlo.input->first > 0; }, 5000, 0);
        result.toSample.append(murlo.input->first - trigger);
        if (card > 0) result.toCard.append(card);
        (void)speaker.play(speech);
        letPass(milliseconds);
        badge.rememberFull();
        const QString before = app.text().value_or(QString());
        const double release = seconds();
        keyboard.release("LFSH");
        murlo.awaitAnswer(release);
        (void)waitFor([&] { return app.text().value_or(before) != before; }, 10000, 0);
        result.toText.append(seconds() - release);
        letPass(600);
        result.engine.append(murlo.bareRequest());
        speaker.stop();
    }
    return result;
}

/// `aim` is what a preview in flight may add, in seconds; 0 for a twentieth of the engine's time.
QList<Figure> figuresWith(const QString& model, const QString& name, double aim) {
    progress(QStringLiteral("whole dictations with ") + name);
    QTemporaryDir folder;
    const QString speech = folder.filePath(QStringLiteral("speech.wav"));
    if (!Speaker::synthesize(QStringLiteral("Yes."), speech)) return {};
    TimedMurlo murlo(folder.filePath(QStringLiteral("support")), model);
    TargetApp app(TargetApp::Kind::gtkEntry);
    if (!murlo.awaitReady() || !app.start()) {
        progress(QStringLiteral("the engine or the text box did not come up"));
        return {};
    }
    QGuiApplication::clipboard()->setText(QStringLiteral("as on most people's clipboards"));
    letPass(4000); // meanwhile the devices are measured
    const Rounds before = dictate(murlo, app, speech, 850);
    const Rounds during = dictate(murlo, app, speech, 2350);
    murlo.setEnhance(true);
    const Rounds enhanced = dictate(murlo, app, speech, 850);
    const QString ms = QStringLiteral("ms");
    const auto row = [&](const char* what, double figure, double baseline, const char* beside) {
        return Figure{QString::fromLatin1(what) + QStringLiteral(", ") + name, figure * 1000, ms,
                      baseline * 1000, QString::fromLatin1(beside)};
    };
    const double engine = median(during.engine);
    QList<Figure> figures{
        row("release to text in a GTK box", median(before.toText), median(before.engine),
            "a bare engine request for the same clip"),
        row("release to text, beyond the engine's time", before.beyond(), 0.040, "the aim"),
        row("release to text, a preview being in flight", median(during.toText), engine,
            "a bare engine request for the same clip"),
        row("what a preview in flight adds", during.beyond() - before.beyond(),
            aim > 0 ? aim : engine / 20,
            aim > 0 ? "the aim" : "the aim, a twentieth of the engine's time")};
    figures.append(row("what enhancement adds, with an instant backend",
                       enhanced.beyond() - before.beyond(), 0.040, "the aim of a whole delivery"));
    if (aim > 0) {
        figures.prepend(
            row("second tap to a card that can be read", median(during.toCard), 0.050, "the aim"));
        figures.prepend(
            row("second tap to first sample", median(before.toSample), 0.030, "the aim"));
    }
    return figures;
}

} // namespace

QList<Figure> dictationFigures(const QString& model) {
    QTemporaryDir folder;
    const QString deep = folder.filePath(QStringLiteral("deep.bin"));
    if (!writeDeepModel(model, deep, deepLayers)) return {};
    return figuresWith(model, QStringLiteral("the mini model"), 0.040) +
           figuresWith(deep, QStringLiteral("%1 encoder layers").arg(deepLayers), 0);
}

} // namespace murlo
