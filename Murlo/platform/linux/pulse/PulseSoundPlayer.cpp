#include "platform/linux/pulse/PulseSoundPlayer.h"

#include "platform/Port.h"
#include "platform/linux/pulse/Tones.h"

#include <algorithm>

namespace murlo {

/// One stream that plays its samples once and then closes itself. Use it under the connection's
/// lock.
class PulseSoundPlayer::Playing : NonCopyable {
public:
    Playing(pa_context* context, const QString& name, std::vector<float> samples)
        : m_samples(std::move(samples)) {
        const pa_sample_spec spec{PA_SAMPLE_FLOAT32NE, toneSampleRate, 1};
        pa_proplist* properties = pa_proplist_new();
        pa_proplist_sets(properties, PA_PROP_MEDIA_ROLE, "event");
        m_stream = pa_stream_new_with_proplist(context, name.toUtf8().constData(), &spec, nullptr,
                                               properties);
        pa_proplist_free(properties);
        if (m_stream == nullptr) return;
        pa_stream_set_state_callback(m_stream, &Playing::stateChanged, this);
        // No prebuffering: playback starts with the first sample.
        constexpr auto serverDefault = static_cast<std::uint32_t>(-1);
        const pa_buffer_attr buffer{serverDefault, serverDefault, 0, serverDefault, serverDefault};
        if (pa_stream_connect_playback(m_stream, nullptr, &buffer, PA_STREAM_NOFLAGS, nullptr,
                                       nullptr) < 0) {
            close();
        }
    }
    ~Playing() { close(); }

private:
    static void stateChanged(pa_stream* stream, void* playing) {
        auto& self = *static_cast<Playing*>(playing);
        const pa_stream_state_t state = pa_stream_get_state(stream);
        if (state == PA_STREAM_READY) {
            self.write();
        } else if (!PA_STREAM_IS_GOOD(state)) {
            self.close();
        }
    }

    void write() {
        pa_stream_write(m_stream, m_samples.data(), m_samples.size() * sizeof(float), nullptr, 0,
                        PA_SEEK_RELATIVE);
        const auto onDrained = [](pa_stream*, int, void* playing) {
            static_cast<Playing*>(playing)->close();
        };
        m_draining = pa_stream_drain(m_stream, onDrained, this);
        if (m_draining == nullptr) close();
    }

    void close() {
        if (m_draining != nullptr) {
            pa_operation_cancel(m_draining);
            pa_operation_unref(m_draining);
            m_draining = nullptr;
        }
        if (m_stream == nullptr) return;
        pa_stream_set_state_callback(m_stream, nullptr, nullptr);
        pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        m_stream = nullptr;
        m_samples = {};
    }

    std::vector<float> m_samples;
    pa_stream* m_stream = nullptr;
    pa_operation* m_draining = nullptr;
};

PulseSoundPlayer::PulseSoundPlayer(std::shared_ptr<PulseConnection> connection)
    : m_connection(std::move(connection)) {}

PulseSoundPlayer::~PulseSoundPlayer() {
    const PulseConnection::Lock lock(*m_connection);
    m_playing.clear();
}

bool PulseSoundPlayer::load(const QString& name) {
    std::vector<float>& tone = m_tones[name];
    if (tone.empty()) tone = makeTone(name);
    return !tone.empty();
}

void PulseSoundPlayer::play(const QString& name, double volume) {
    if (!load(name)) return;
    std::vector<float> samples = m_tones[name];
    const auto factor = static_cast<float>(std::clamp(volume, 0.0, 1.0));
    for (float& sample : samples) sample *= factor;

    const PulseConnection::Lock lock(*m_connection);
    m_playing.erase(name);
    if (pa_context* context = m_connection->context()) {
        m_playing[name] = std::make_unique<Playing>(context, name, std::move(samples));
    }
}

} // namespace murlo
