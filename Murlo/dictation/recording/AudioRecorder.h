#pragma once

#include "dictation/recording/RecorderError.h"
#include "platform/AudioEngine.h"
#include "platform/MicrophoneAuthorization.h"
#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <QByteArray>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <tl/expected.hpp>

namespace murlo {

class Capture;
class SampleStore;

/// Records the default microphone into memory as 16 kHz mono, keeps an engine warm between
/// recordings, and follows the default input device.
///
/// Everything is called, and calls back, on the main thread, and nothing waits for a device:
/// engines are opened and started one after another on a serial queue of the recorder's own. `stop`
/// and `cancel` end whatever `start` has begun, also one that is still under way: that start then
/// leaves nothing running and completes as `superseded`, and it never touches a later recording.
class AudioRecorder : NonCopyable {
public:
    enum class Started {
        recording,  ///< audio is being kept, from the first buffer the device delivered
        superseded, ///< `stop` or `cancel` came first; nothing is recording on behalf of this start
    };
    using StartResult = tl::expected<Started, RecorderError>;
    using ReportError = std::function<void(const QString& kind, const QString& detail)>;

    /// Begins to watch the default input device, and opens an engine in advance if the microphone
    /// is authorised. `reportError` takes the kinds of failure that are worth a report
    /// ("tap_failed").
    AudioRecorder(Scheduler& scheduler, AudioInput& input,
                  const MicrophoneAuthorization& authorization, ReportError reportError);
    /// Ends a recording, discarding it. Waits for an engine that is being opened.
    ~AudioRecorder();

    /// Begins a recording. `completion` is called once, on a later turn; not after the recorder is
    /// gone. While a recording runs nothing changes, and the completion says `recording`.
    void start(std::function<void(StartResult)> completion);

    /// Ends the recording and returns it as a WAV clip; nothing when none was running or it is not
    /// longer than 0.1 s (1600 samples).
    std::optional<QByteArray> stop();

    /// Ends the recording and discards it.
    void cancel();

    /// `stop` for good: no microphone is opened from now on.
    std::optional<QByteArray> close();

    /// The last `lastSeconds` of the recording so far as a WAV clip; nothing when there is no more
    /// than half a second (8000 samples) of it. The recording goes on unaffected.
    [[nodiscard]] std::optional<QByteArray> snapshot(double lastSeconds) const;

    /// True from the moment audio is kept until `stop` or `cancel`, across changes of the device.
    [[nodiscard]] bool isRecording() const;

    /// Samples of the current recording so far, at 16 000 a second; 0 when there is none.
    [[nodiscard]] std::size_t sampleCount() const;

    /// Opens an engine in advance for the next recording, in place of the one there may be. Does
    /// nothing unless the microphone is authorised. Also called by the recorder itself, after every
    /// recording and when the default input changed; call it when authorisation was just given.
    void prewarm();

    /// The loudness of what is being recorded: the root mean square, 0…1, of every 4096 frames of
    /// the hardware's audio.
    std::function<void(float)> onLevel;
    /// The device is gone and no other could take over. What was recorded is kept until `stop`.
    std::function<void()> onDeviceLost;

private:
    struct Retired {
        std::shared_ptr<AudioEngine> engine;
        ScheduledWork timer;
    };
    /// What the main thread and the queue share.
    struct Shared {
        mutable std::mutex lock; ///< held for a few assignments; no engine call that waits
        quint64 epoch = 0;       ///< grows with every `stop` and `cancel`
        std::shared_ptr<AudioEngine> warmEngine;
        std::unique_ptr<Capture> capture;     ///< absent while a lost device is being replaced
        std::shared_ptr<SampleStore> samples; ///< present exactly while recording
    };
    using CaptureResult = tl::expected<std::unique_ptr<Capture>, RecorderError>;

    // On the queue.
    [[nodiscard]] StartResult startNow(quint64 epoch);
    [[nodiscard]] CaptureResult beginCapture(const std::shared_ptr<AudioEngine>& engine,
                                             const std::shared_ptr<SampleStore>& samples);
    [[nodiscard]] bool commit(quint64 epoch, std::unique_ptr<Capture> capture,
                              const std::shared_ptr<SampleStore>& samples);
    void resume(quint64 epoch, const std::shared_ptr<SampleStore>& samples);

    // On the main thread.
    void completeStart(quint64 epoch, const StartResult& result,
                       const std::function<void(StartResult)>& completion);
    std::shared_ptr<SampleStore> endRecording();
    void handleDefaultInputChange();
    void handleRouteChange(const AudioEngine* engine);
    /// Handles the loss of a device before its capture was installed.
    void checkDevice();

    // On any thread.
    void reportLevel(float level);
    void replaceWarmEngine(std::shared_ptr<AudioEngine> engine);
    void retire(std::shared_ptr<AudioEngine> engine);
    [[nodiscard]] bool hasWarmEngine() const;
    [[nodiscard]] quint64 currentEpoch() const;
    [[nodiscard]] std::shared_ptr<SampleStore> currentSamples() const;

    Scheduler& m_scheduler;
    AudioInput& m_input;
    const MicrophoneAuthorization& m_authorization;
    ReportError m_reportError;
    Shared m_shared;
    bool m_closed = false;
    /// Replaced engines live on for 2 seconds, so that none is destroyed on the critical path.
    std::map<const AudioEngine*, Retired> m_retiredEngines;
    std::shared_ptr<void> m_defaultInputObserver;
    std::unique_ptr<SerialQueue> m_queue;
    Lifetime m_lifetime;
};

} // namespace murlo
