#include "Figures.h"
#include "platform/linux/pulse/PulseAudioInput.h"
#include "platform/linux/qt/QtScheduler.h"

#include <QSemaphore>

#include <pulse/pulseaudio.h>

#include <atomic>
#include <thread>

namespace murlo {

namespace {

constexpr int rounds = 9;

/// The least that a program can do with the sound library: one corked stream, un-corked.
class BareStream {
public:
    BareStream()
        : m_loop(pa_threaded_mainloop_new()) {
        pa_threaded_mainloop_start(m_loop);
        pa_threaded_mainloop_lock(m_loop);
        m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "bare");
        pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
        await([this] { return pa_context_get_state(m_context) == PA_CONTEXT_READY; });
        const pa_sample_spec format{PA_SAMPLE_FLOAT32LE, 48000, 1};
        m_stream = pa_stream_new(m_context, "bare", &format, nullptr);
        pa_stream_set_read_callback(
            m_stream,
            [](pa_stream* stream, std::size_t, void* self) {
                const void* data = nullptr;
                std::size_t bytes = 0;
                pa_stream_peek(stream, &data, &bytes);
                if (bytes > 0) pa_stream_drop(stream);
                if (data) static_cast<BareStream*>(self)->m_heard.release();
            },
            this);
        const auto none = static_cast<uint32_t>(-1);
        const pa_buffer_attr attributes{none, none, none, none, 480 * sizeof(float)};
        pa_stream_connect_record(
            m_stream, nullptr, &attributes,
            static_cast<pa_stream_flags_t>(PA_STREAM_START_CORKED | PA_STREAM_ADJUST_LATENCY));
        await([this] { return pa_stream_get_state(m_stream) == PA_STREAM_READY; });
        pa_threaded_mainloop_unlock(m_loop);
    }
    ~BareStream() {
        pa_threaded_mainloop_lock(m_loop);
        pa_stream_disconnect(m_stream);
        pa_stream_unref(m_stream);
        pa_context_disconnect(m_context);
        pa_context_unref(m_context);
        pa_threaded_mainloop_unlock(m_loop);
        pa_threaded_mainloop_stop(m_loop);
        pa_threaded_mainloop_free(m_loop);
    }
    BareStream(const BareStream&) = delete;
    BareStream& operator=(const BareStream&) = delete;

    /// Waits for the first buffer after the cork is drawn.
    void firstSample() {
        cork(false);
        m_heard.acquire();
        cork(true);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        while (m_heard.tryAcquire()) {
        }
    }

private:
    void cork(bool corked) {
        pa_threaded_mainloop_lock(m_loop);
        pa_operation_unref(pa_stream_cork(m_stream, corked ? 1 : 0, nullptr, nullptr));
        pa_threaded_mainloop_unlock(m_loop);
    }
    void await(const std::function<bool()>& condition) {
        while (!condition()) {
            pa_threaded_mainloop_unlock(m_loop);
            std::this_thread::sleep_for(std::chrono::microseconds(200));
            pa_threaded_mainloop_lock(m_loop);
        }
    }

    pa_threaded_mainloop* m_loop;
    pa_context* m_context = nullptr;
    pa_stream* m_stream = nullptr;
    QSemaphore m_heard;
};

/// Seconds from the start of an engine to its first buffer; 0 when there is none.
double firstSample(AudioEngine& engine) {
    QSemaphore heard;
    std::atomic<bool> first = true;
    if (!engine.installTap(4096, [&](const AudioBuffer&) {
            if (first.exchange(false)) heard.release();
        })) {
        return 0;
    }
    const double start = seconds();
    if (!engine.start() || !heard.tryAcquire(1, 5000)) return 0;
    const double took = seconds() - start;
    engine.removeTap();
    engine.stop();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return took;
}

} // namespace

QList<Figure> microphoneFigures() {
    progress(QStringLiteral("the microphone, warm and cold"));
    QtScheduler scheduler;
    QList<double> warm;
    QList<double> bareWarm;
    QList<double> cold;
    QList<double> bareCold;
    {
        PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
        const auto engine = input.makeEngine();
        if (engine->inputFormat().sampleRate <= 0) return {};
        BareStream bare;
        for (int i = 0; i < rounds; ++i) {
            warm.append(firstSample(*engine));
            const double start = seconds();
            bare.firstSample();
            bareWarm.append(seconds() - start - 0.1); // its own pause
        }
    }
    for (int i = 0; i < rounds; ++i) {
        double start = seconds();
        {
            PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
            const auto engine = input.makeEngine();
            const double opened = engine->inputFormat().sampleRate > 0 ? seconds() - start : 0;
            cold.append(opened + firstSample(*engine));
        }
        start = seconds();
        BareStream bare;
        bare.firstSample();
        bareCold.append(seconds() - start - 0.1); // its own pause; before it is taken down
    }
    const auto figure = [](const char* name, const QList<double>& ours, const QList<double>& bare) {
        return Figure{QString::fromLatin1(name), median(ours) * 1000, QStringLiteral("ms"),
                      median(bare) * 1000, QStringLiteral("the bare sound library")};
    };
    return {figure("start to first sample, warm", warm, bareWarm),
            figure("start to first sample, cold (new connection and stream)", cold, bareCold)};
}

} // namespace murlo
