#include "platform/linux/pulse/PulseEngine.h"

#include <algorithm>

namespace murlo {

namespace {

// Timeouts for the server, in seconds.
constexpr double connectLimit = 3;
constexpr double openLimit = 5;
constexpr double uncorkLimit = 2;

/// Fragment size of the stream: short for an early first sample, but every fragment wakes this
/// process once.
constexpr pa_usec_t fragment = 10 * PA_USEC_PER_MSEC;

PlatformError failure(const QString& description, int code = PA_ERR_BADSTATE) {
    return {description, QStringLiteral("PulseAudio"), code};
}

pa_buffer_attr bufferFor(const pa_sample_spec& spec) {
    constexpr auto serverDefault = static_cast<std::uint32_t>(-1);
    const auto size = static_cast<std::uint32_t>(pa_usec_to_bytes(fragment, &spec));
    return {serverDefault, serverDefault, serverDefault, serverDefault, size};
}

PulseEngine& self(void* userdata) {
    return *static_cast<PulseEngine*>(userdata);
}

} // namespace

PulseEngine::PulseEngine(Scheduler& scheduler, std::shared_ptr<PulseConnection> connection)
    : m_scheduler(scheduler)
    , m_connection(std::move(connection)) {}

PulseEngine::~PulseEngine() {
    const PulseConnection::Lock lock(*m_connection);
    close();
}

// --- opening ---

AudioFormat PulseEngine::inputFormat() {
    {
        const PulseConnection::Lock lock(*m_connection);
        if (isReady() && m_onMicrophone) return format();
    }
    if (!m_connection->connect(connectLimit)) return {};
    {
        const PulseConnection::Lock lock(*m_connection);
        if (!open()) return {};
    }
    m_connection->waitFor(openLimit, [this] { return m_checked || !isOpening(); });
    const PulseConnection::Lock lock(*m_connection);
    if (isReady() && m_onMicrophone) return format();
    close();
    return {};
}

bool PulseEngine::open() {
    close();
    pa_context* context = m_connection->context();
    if (context == nullptr) return false;
    // The server replaces rate and channels by the source's own; these only have to be valid.
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, 48000, 1};
    m_stream = pa_stream_new(context, "Dictation", &spec, nullptr);
    if (m_stream == nullptr) return false;

    pa_stream_set_state_callback(
        m_stream, [](pa_stream*, void* engine) { self(engine).streamChanged(); }, this);
    pa_stream_set_moved_callback(
        m_stream, [](pa_stream*, void* engine) { self(engine).checkSource(); }, this);
    pa_stream_set_suspended_callback(
        m_stream, [](pa_stream*, void* engine) { self(engine).streamSuspended(); }, this);
    pa_stream_set_read_callback(
        m_stream, [](pa_stream*, std::size_t, void* engine) { self(engine).read(); }, this);

    const pa_buffer_attr attributes = bufferFor(spec);
    const auto flags =
        static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY |
                                       PA_STREAM_FIX_RATE | PA_STREAM_FIX_CHANNELS);
    return pa_stream_connect_record(m_stream, nullptr, &attributes, flags) == 0;
}

void PulseEngine::close() {
    m_check.cancel();
    m_checked = m_onMicrophone = m_flowing = false;
    if (m_stream != nullptr) {
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        pa_stream_set_moved_callback(m_stream, nullptr, nullptr);
        pa_stream_set_suspended_callback(m_stream, nullptr, nullptr);
        pa_stream_set_read_callback(m_stream, nullptr, nullptr);
        pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
    }
    updateRunning();
}

bool PulseEngine::isReady() const {
    return m_stream != nullptr && pa_stream_get_state(m_stream) == PA_STREAM_READY;
}

bool PulseEngine::isOpening() const {
    if (m_stream == nullptr) return false;
    const pa_stream_state_t state = pa_stream_get_state(m_stream);
    return state == PA_STREAM_CREATING || state == PA_STREAM_READY;
}

AudioFormat PulseEngine::format() const {
    const pa_sample_spec* spec = pa_stream_get_sample_spec(m_stream);
    return {static_cast<double>(spec->rate), spec->channels};
}

// --- flowing ---

tl::expected<void, PlatformError> PulseEngine::installTap(std::size_t frames, Tap tap) {
    const PulseConnection::Lock lock(*m_connection);
    if (!isReady()) return tl::unexpected(failure(QStringLiteral("the input device is not open")));
    if (m_tap) return tl::unexpected(failure(QStringLiteral("there is a tap already")));
    if (frames == 0) return tl::unexpected(failure(QStringLiteral("a tap needs room for frames")));
    m_tap = std::move(tap);
    m_tapFrames = frames;
    return {};
}

void PulseEngine::removeTap() {
    const PulseConnection::Lock lock(*m_connection);
    m_tap = {};
}

tl::expected<void, PlatformError> PulseEngine::start() {
    pa_operation* uncorking = nullptr;
    {
        const PulseConnection::Lock lock(*m_connection);
        if (!isReady() || !m_onMicrophone) {
            return tl::unexpected(
                failure(QStringLiteral("The microphone is not available."), PA_ERR_NOENTITY));
        }
        m_flowing = true;
        const auto onDone = [](pa_stream*, int, void* connection) {
            static_cast<PulseConnection*>(connection)->changed();
        };
        uncorking = pa_stream_cork(m_stream, 0, onDone, m_connection.get());
    }
    // An idle source is suspended and resumes now; one that stays suspended delivers no audio.
    const bool isFlowing =
        uncorking != nullptr && m_connection->waitFor(uncorkLimit, [this, uncorking] {
            if (pa_operation_get_state(uncorking) == PA_OPERATION_RUNNING) return false;
            return !isReady() || pa_stream_is_suspended(m_stream) == 0;
        });
    const PulseConnection::Lock lock(*m_connection);
    if (uncorking != nullptr) {
        pa_operation_cancel(uncorking);
        pa_operation_unref(uncorking);
    }
    if (isFlowing && isReady()) {
        updateRunning();
        return {};
    }
    m_flowing = false;
    return tl::unexpected(failure(QStringLiteral("The microphone did not start."), PA_ERR_TIMEOUT));
}

void PulseEngine::stop() {
    const PulseConnection::Lock lock(*m_connection);
    m_flowing = false;
    updateRunning();
    if (!isReady()) return;
    if (auto* corking = pa_stream_cork(m_stream, 1, nullptr, nullptr)) pa_operation_unref(corking);
}

void PulseEngine::read() {
    const void* data = nullptr;
    std::size_t bytes = 0;
    while (pa_stream_peek(m_stream, &data, &bytes) == 0 && bytes > 0) {
        if (m_flowing && m_tap) deliver(data, bytes);
        pa_stream_drop(m_stream);
    }
}

void PulseEngine::deliver(const void* data, std::size_t bytes) {
    const AudioFormat spec = format();
    const auto channels = static_cast<std::size_t>(spec.channels);
    const std::size_t total = bytes / (sizeof(float) * channels);
    if (data == nullptr) { // a hole: audio that the server lost
        m_silence.assign(total * channels, 0);
        data = m_silence.data();
    }
    const auto* samples = static_cast<const float*>(data);
    for (std::size_t done = 0; done < total;) {
        const std::size_t frames = std::min(m_tapFrames, total - done);
        m_tap({samples + done * channels, frames, spec});
        done += frames;
    }
}

// --- changes ---

void PulseEngine::observeConfigurationChange(std::function<void()> changed) {
    auto observer = changed ? std::make_shared<Observer>(Observer{std::move(changed)}) : nullptr;
    const PulseConnection::Lock lock(*m_connection);
    m_observer.swap(observer);
}

void PulseEngine::tellConfigurationChange() {
    if (!m_flowing || !m_observer) return;
    m_scheduler.nextTurn([observer = std::weak_ptr(m_observer)] {
        if (const auto present = observer.lock()) present->changed();
    });
}

void PulseEngine::updateRunning() {
    m_running = m_flowing && m_onMicrophone && isReady() && pa_stream_is_suspended(m_stream) == 0;
}

void PulseEngine::streamChanged() {
    if (isReady()) {
        // The stream has the source's rate and channels now.
        const pa_buffer_attr attributes = bufferFor(*pa_stream_get_sample_spec(m_stream));
        auto* setting = pa_stream_set_buffer_attr(m_stream, &attributes, nullptr, nullptr);
        if (setting != nullptr) pa_operation_unref(setting);
        checkSource();
    } else if (!isOpening()) {
        m_check.cancel();
        updateRunning();
        tellConfigurationChange();
    }
    m_connection->changed();
}

void PulseEngine::streamSuspended() {
    updateRunning();
    if (pa_stream_is_suspended(m_stream) != 0) tellConfigurationChange();
    m_connection->changed();
}

void PulseEngine::checkSource() {
    m_check.ask(m_connection->context(), pa_stream_get_device_index(m_stream),
                [this](bool isMicrophone) { sourceChecked(isMicrophone); });
}

void PulseEngine::sourceChecked(bool isMicrophone) {
    m_checked = true;
    m_onMicrophone = isMicrophone;
    updateRunning();
    tellConfigurationChange();
    m_connection->changed();
}

} // namespace murlo
