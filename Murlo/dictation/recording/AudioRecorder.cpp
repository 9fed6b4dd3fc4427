#include "dictation/recording/AudioRecorder.h"

#include "MurloKit/WavWriter.h"
#include "dictation/recording/AudioConverter.h"
#include "dictation/recording/Capture.h"
#include "dictation/recording/SampleStore.h"
#include "look/Words.h"
#include "support/Log.h"

namespace murlo {

namespace {

constexpr int sampleRate = AudioConverter::targetSampleRate;
constexpr std::size_t longestTooShortClip = sampleRate / 10;
constexpr std::size_t longestTooShortSnapshot = sampleRate / 2;
/// Longer recordings work too, at the cost of a reallocation.
constexpr std::size_t expectedSamples = std::size_t{300} * sampleRate;
constexpr double retirement = 2.0; // seconds

} // namespace

AudioRecorder::AudioRecorder(Scheduler& scheduler, AudioInput& input,
                             const MicrophoneAuthorization& authorization, ReportError reportError)
    : m_scheduler(scheduler)
    , m_input(input)
    , m_authorization(authorization)
    , m_reportError(std::move(reportError))
    , m_queue(scheduler.makeSerialQueue(QStringLiteral("murlo.recorder"))) {
    m_defaultInputObserver = m_input.observeDefaultInput([this] { handleDefaultInputChange(); });
    prewarm();
}

AudioRecorder::~AudioRecorder() {
    m_defaultInputObserver.reset();
    endRecording();
    m_queue.reset();
}

// --- starting ---

void AudioRecorder::start(std::function<void(StartResult)> completion) {
    if (m_closed) return;
    const quint64 epoch = currentEpoch();
    m_queue->async([this, epoch, completion = std::move(completion)]() mutable {
        auto complete = [this, epoch, result = startNow(epoch),
                         completion = std::move(completion)] {
            completeStart(epoch, result, completion);
        };
        m_scheduler.nextTurn(m_lifetime.guard(std::move(complete)));
    });
}

AudioRecorder::StartResult AudioRecorder::startNow(quint64 epoch) {
    std::shared_ptr<AudioEngine> warm;
    {
        const std::lock_guard guard(m_shared.lock);
        if (m_shared.epoch != epoch) return Started::superseded;
        if (m_shared.samples) return Started::recording;
        warm = std::exchange(m_shared.warmEngine, nullptr);
    }
    auto samples = std::make_shared<SampleStore>(expectedSamples);
    CaptureResult capture = beginCapture(warm ? warm : m_input.makeEngine(), samples);
    if (!capture) capture = beginCapture(m_input.makeEngine(), samples);
    if (!capture) return tl::unexpected(capture.error());
    return commit(epoch, std::move(*capture), samples) ? Started::recording : Started::superseded;
}

AudioRecorder::CaptureResult
AudioRecorder::beginCapture(const std::shared_ptr<AudioEngine>& engine,
                            const std::shared_ptr<SampleStore>& samples) {
    auto tapFailed = [this](const QString& why) {
        m_scheduler.nextTurn(
            m_lifetime.guard([this, why] { m_reportError(QStringLiteral("tap_failed"), why); }));
    };
    auto level = [this](float value) { reportLevel(value); };
    auto capture = Capture::begin(engine, samples, {std::move(level), std::move(tapFailed)});
    if (!capture) {
        retire(engine);
        return capture;
    }
    engine->observeConfigurationChange(
        m_lifetime.guard([this, engine = engine.get()] { handleRouteChange(engine); }));
    Log::write(QStringLiteral("audio: recording at %1 Hz → %2 Hz")
                   .arg(static_cast<qint64>(engine->inputFormat().sampleRate))
                   .arg(sampleRate));
    return capture;
}

bool AudioRecorder::commit(quint64 epoch, std::unique_ptr<Capture> capture,
                           const std::shared_ptr<SampleStore>& samples) {
    {
        const std::lock_guard guard(m_shared.lock);
        if (m_shared.epoch == epoch) {
            m_shared.capture = std::move(capture);
            m_shared.samples = samples;
            return true;
        }
    }
    retire(capture->finish());
    return false;
}

void AudioRecorder::completeStart(quint64 epoch, const StartResult& result,
                                  const std::function<void(StartResult)>& completion) {
    if (currentEpoch() != epoch) {
        if (!hasWarmEngine()) prewarm(); // the cancelled start has consumed it
        completion(Started::superseded);
        return;
    }
    checkDevice();
    completion(result);
}

// --- ending ---

std::shared_ptr<SampleStore> AudioRecorder::endRecording() {
    std::unique_ptr<Capture> capture;
    std::shared_ptr<SampleStore> samples;
    {
        const std::lock_guard guard(m_shared.lock);
        ++m_shared.epoch;
        capture = std::move(m_shared.capture);
        samples = std::exchange(m_shared.samples, nullptr);
    }
    if (capture) retire(capture->finish());
    return samples;
}

std::optional<QByteArray> AudioRecorder::stop() {
    const auto recorded = endRecording();
    if (!recorded) return std::nullopt;
    prewarm();
    const std::vector<float> samples = recorded->takeAll();
    if (samples.size() <= longestTooShortClip) {
        Log::write(QStringLiteral("audio: clip too short (%1 samples)").arg(samples.size()));
        return std::nullopt;
    }
    return WavWriter::data(samples, sampleRate);
}

std::optional<QByteArray> AudioRecorder::close() {
    m_closed = true;
    return stop();
}

void AudioRecorder::cancel() {
    if (endRecording()) prewarm();
}

// --- while recording ---

std::optional<QByteArray> AudioRecorder::snapshot(double lastSeconds) const {
    const auto store = currentSamples();
    if (!store) return std::nullopt;
    const auto most = static_cast<std::size_t>(std::max(lastSeconds, 0.0) * sampleRate);
    const std::vector<float> samples = store->last(most);
    if (samples.size() <= longestTooShortSnapshot) return std::nullopt;
    return WavWriter::data(samples, sampleRate);
}

bool AudioRecorder::isRecording() const {
    return currentSamples() != nullptr;
}

std::size_t AudioRecorder::sampleCount() const {
    const auto store = currentSamples();
    return store ? store->count() : 0;
}

void AudioRecorder::reportLevel(float level) {
    m_scheduler.nextTurn(m_lifetime.guard([this, level] {
        if (isRecording() && onLevel) onLevel(level);
    }));
}

// --- engines ---

void AudioRecorder::prewarm() {
    if (m_closed || m_authorization.status() != MicrophoneStatus::authorized) return;
    m_queue->async([this] {
        auto engine = m_input.makeEngine();
        // Opening the device takes time; the format itself is read again at the start.
        [[maybe_unused]] const AudioFormat format = engine->inputFormat();
        replaceWarmEngine(std::move(engine));
    });
}

void AudioRecorder::replaceWarmEngine(std::shared_ptr<AudioEngine> engine) {
    {
        const std::lock_guard guard(m_shared.lock);
        std::swap(m_shared.warmEngine, engine);
    }
    retire(std::move(engine));
}

void AudioRecorder::retire(std::shared_ptr<AudioEngine> engine) {
    if (!engine) return;
    m_scheduler.nextTurn(m_lifetime.guard([this, engine = std::move(engine)]() mutable {
        const AudioEngine* identity = engine.get();
        Retired& retired = m_retiredEngines[identity];
        retired.engine = std::move(engine);
        retired.timer = m_scheduler.after(retirement, [this, identity] {
            auto node = m_retiredEngines.extract(identity);
            m_queue->async(
                [engine = std::move(node.mapped().engine)]() mutable { engine.reset(); });
        });
    }));
}

// --- changes of the device ---

void AudioRecorder::handleDefaultInputChange() {
    if (isRecording()) return; // the capturing engine reports its own route changes
    replaceWarmEngine(nullptr);
    prewarm();
    Log::write(QStringLiteral("audio: default input changed, rewarming"));
}

void AudioRecorder::handleRouteChange(const AudioEngine* engine) {
    std::unique_ptr<Capture> lost;
    std::shared_ptr<SampleStore> samples;
    quint64 epoch = 0;
    {
        const std::lock_guard guard(m_shared.lock);
        if (!m_shared.capture || &m_shared.capture->engine() != engine) return;
        if (!engine->isRunning()) lost = std::move(m_shared.capture);
        samples = m_shared.samples;
        epoch = m_shared.epoch;
    }
    if (!lost) {
        Log::write(QStringLiteral("audio: route renegotiated, still recording"));
        return;
    }
    retire(lost->finish());
    m_queue->async([this, epoch, samples] { resume(epoch, samples); });
}

void AudioRecorder::checkDevice() {
    const AudioEngine* engine = nullptr;
    {
        const std::lock_guard guard(m_shared.lock);
        if (m_shared.capture && !m_shared.capture->engine().isRunning()) {
            engine = &m_shared.capture->engine();
        }
    }
    if (engine) handleRouteChange(engine);
}

void AudioRecorder::resume(quint64 epoch, const std::shared_ptr<SampleStore>& samples) {
    if (currentEpoch() != epoch) return;
    CaptureResult capture = beginCapture(m_input.makeEngine(), samples);
    if (capture) {
        if (!commit(epoch, std::move(*capture), samples)) return;
        Log::write(QStringLiteral("audio: capture resumed on new route"));
        m_scheduler.nextTurn(m_lifetime.guard([this] { checkDevice(); }));
        return;
    }
    m_scheduler.nextTurn(m_lifetime.guard([this, epoch, error = capture.error()] {
        if (currentEpoch() != epoch) return;
        Log::write(QStringLiteral("audio: could not resume after route change: ") +
                   Words::english(error.message));
        if (onDeviceLost) onDeviceLost();
    }));
}

// --- what the threads share ---

bool AudioRecorder::hasWarmEngine() const {
    const std::lock_guard guard(m_shared.lock);
    return m_shared.warmEngine != nullptr;
}

quint64 AudioRecorder::currentEpoch() const {
    const std::lock_guard guard(m_shared.lock);
    return m_shared.epoch;
}

std::shared_ptr<SampleStore> AudioRecorder::currentSamples() const {
    const std::lock_guard guard(m_shared.lock);
    return m_shared.samples;
}

} // namespace murlo
