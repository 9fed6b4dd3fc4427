#include "dictation/DictationController.h"

#include "dictation/DictationSession.h"
#include "dictation/DictationTiming.h"
#include "dictation/delivery/Delivery.h"
#include "dictation/engine/EnginePace.h"
#include "dictation/engine/WhisperServer.h"
#include "dictation/recording/AudioRecorder.h"
#include "dictation/recording/KeptRecording.h"
#include "look/Words.h"
#include "overlay/OverlayController.h"
#include "platform/MicrophoneAuthorization.h"
#include "platform/SystemEvents.h"
#include "settings/Settings.h"
#include "support/Log.h"
#include "telemetry/ErrorReporter.h"

namespace murlo {

using namespace DictationTiming;

DictationController::DictationController(const DictationPartners& partners)
    : m_with(partners) {
    m_with.recorder.onLevel =
        m_lifetime.guard([this](float level) { m_with.overlay.model().push(level); });
    m_with.recorder.onDeviceLost = m_lifetime.guard([this] {
        if (!isRecording()) return;
        m_with.errors.report(QStringLiteral("audio_lost"),
                             QStringLiteral("input device disappeared mid-recording"));
        finish();
    });
    m_with.systemEvents.onWillSleep = m_lifetime.guard([this] {
        if (!isRecording()) return;
        Log::write(QStringLiteral("dictation: system sleeping, wrapping up"));
        finish();
    });
    connect(&m_with.server, &WhisperServer::stateChanged, this, [this](const EngineState& state) {
        Q_EMIT engineStateChanged(state);
        if (state.state != EngineState::failed) return;
        Log::write(QStringLiteral("engine: ") + Words::english(state.message));
        show({DictationState::failed, {}, state.message});
    });
}

DictationController::~DictationController() = default;

bool DictationController::isRecording() const {
    return m_with.recorder.isRecording();
}

void DictationController::setState(const DictationState& state) {
    m_state = state;
    const bool over = state.state == DictationState::idle || state.state == DictationState::failed;
    if (over && m_session) m_session->clipboard.reset();
    Q_EMIT stateChanged(m_state);
}

bool DictationController::ownsCard(const SessionRef& session) const {
    return isCurrent(session) || m_state.state == DictationState::idle ||
           m_state.state == DictationState::delivered;
}

void DictationController::becomeIdle() {
    setState({DictationState::idle});
    m_with.overlay.hide();
    tellUntold();
}

void DictationController::tellUntold() {
    if (!m_untold.isEmpty()) show({DictationState::failed, {}, std::exchange(m_untold, {})});
}

void DictationController::show(const DictationState& state) {
    m_with.overlay.show(state);
}

void DictationController::play(Sound& sound) {
    if (m_with.settings.truth(SettingKey::playSounds)) sound.play();
}

void DictationController::begin(bool fromHotkey) {
    if (isRecording() || m_state.state == DictationState::listening) return;
    if (m_with.microphone.status() != MicrophoneStatus::authorized) {
        m_with.microphone.request(m_lifetime.guard([this, fromHotkey](bool granted) {
            if (granted) {
                begin(fromHotkey);
            } else {
                fail(Word::microphoneOff, {});
            }
        }));
        return;
    }
    const EngineState engine = m_with.server.state();
    if (engine.state == EngineState::failed) {
        fail(engine.message, {});
        return;
    }
    m_startedByHotkey = fromHotkey;
    m_startedAt = m_with.scheduler.uptime();
    m_session = std::make_shared<Session>();
    // The microphone is started first, the card second: any work before them cuts into the first
    // word.
    startRecorder();
    m_liveTranscript.reset();
    m_with.overlay.model().resetRecording();
    setState({DictationState::listening});
    show({DictationState::listening});
    startTimer();
    captureTarget();
    m_session->clipboard = m_with.delivery.dictationBegins();
}

void DictationController::startAfterTargetPicked(const InputTarget& target) {
    if (isRecording() || m_state.state == DictationState::listening) return;
    begin(false);
    if (m_state.state != DictationState::listening) return;
    m_session->target = target;
    m_session->picked = true;
}

void DictationController::captureTarget() {
    m_session->target = m_with.targets.captureFocused();
    m_with.targets.recheckFocus(m_lifetime.guard([this, weak = std::weak_ptr(m_session)] {
        const SessionRef session = weak.lock();
        const bool wanted = session && session == m_session && !session->picked &&
                            m_state.state == DictationState::listening;
        if (wanted) session->target = m_with.targets.captureFocused();
    }));
}

void DictationController::startRecorder() {
    const qint64 generation = ++m_startGeneration;
    m_with.recorder.start(
        m_lifetime.guard([this, generation](const AudioRecorder::StartResult& result) {
            // Whatever incremented the generation has also stopped the recorder, which cancelled
            // this start.
            if (generation != m_startGeneration) return;
            if (!result) {
                const RecorderError& error = result.error();
                fail(error.message, failureReport(error.domain, error.code));
                return;
            }
            play(m_with.sounds.begin);
            Log::write(QStringLiteral("dictation: listening"));
        }));
}

void DictationController::startTimer() {
    m_timer = m_with.scheduler.every(elapsedTick, [this] { tick(); });
    m_previewTimer = m_with.scheduler.every(previewInterval, [this] { requestPreview(); });
}

void DictationController::stopTimer() {
    m_timer.cancel();
    m_previewTimer.cancel();
    m_startedAt.reset();
}

void DictationController::tick() {
    if (!m_startedAt) return;
    const double elapsed = m_with.scheduler.uptime() - *m_startedAt;
    m_with.overlay.model().setElapsed(elapsed);
    if (m_with.settings.number(SettingKey::maxRecordingSeconds) > elapsed) return;
    Log::write(QStringLiteral("dictation: hit max length, wrapping up"));
    finish();
}

void DictationController::requestPreview() {
    if (!isRecording() || m_preview || !m_with.pace.allowsPreview() ||
        m_with.server.state().state != EngineState::ready)
        return;
    const auto clip = m_with.recorder.snapshot(previewWindow);
    if (!clip) return;
    const auto answered = [this, sent = m_with.scheduler.uptime()](const TranscribeResult& result) {
        m_preview.reset();
        m_with.pace.previewTook(m_with.scheduler.uptime() - sent);
        if (!isRecording() || !result || result->isEmpty()) return;
        m_liveTranscript.ingest(*result);
        m_with.overlay.model().setWords(m_liveTranscript.words());
    };
    m_preview = send(*clip, answered);
}

std::unique_ptr<HttpTask> DictationController::send(const QByteArray& clip,
                                                    std::function<void(TranscribeResult)> done) {
    const Settings& settings = m_with.settings;
    return Transcriber(m_with.http, m_with.server.inferenceURL(), m_with.server.credentials())
        .transcribe(clip, settings.text(SettingKey::language).value_or(QStringLiteral("en")),
                    settings.text(SettingKey::initialPrompt).value_or(QString()), std::move(done));
}

void DictationController::finish() {
    if (!isRecording() && m_state.state != DictationState::listening) return;
    stopTimer();
    m_startedByHotkey = false;
    ++m_startGeneration;
    // The engine works on one clip at a time: a pending preview would delay this one.
    m_preview.reset();
    const double seconds = static_cast<double>(m_with.recorder.sampleCount()) / samplesPerSecond;
    std::optional<QByteArray> clip = m_with.recorder.stop();
    if (!clip) {
        Log::write(QStringLiteral("dictation: nothing captured"));
        becomeIdle();
        return;
    }
    setState({DictationState::transcribing});
    show({DictationState::transcribing});
    play(m_with.sounds.confirm);
    m_session->clip = std::move(*clip);
    m_session->clipDuration = seconds;
    m_session->finishedAt = m_with.scheduler.uptime();
    m_session->waitsSince = m_session->finishedAt;
    waitForEngine(m_session);
}

void DictationController::cancel() {
    if (m_state.state == DictationState::transcribing ||
        m_state.state == DictationState::enhancing) {
        if (m_session->inserting) return;
        m_session->discarded = true;
        m_session->clip.clear();
        play(m_with.sounds.cancel);
        Log::write(QStringLiteral("dictation: transcription discarded"));
        becomeIdle();
        return;
    }
    if (!isRecording() && m_state.state != DictationState::listening) return;
    stopTimer();
    m_startedByHotkey = false;
    ++m_startGeneration;
    m_preview.reset();
    m_with.recorder.cancel();
    play(m_with.sounds.cancel);
    Log::write(QStringLiteral("dictation: cancelled"));
    becomeIdle();
}

void DictationController::fail(const Message& message, const QString& report) {
    stopTimer();
    m_startedByHotkey = false;
    ++m_startGeneration;
    m_preview.reset();
    m_with.recorder.cancel();
    setState({DictationState::failed, {}, message});
    show({DictationState::failed, {}, message});
    play(m_with.sounds.error);
    m_with.errors.report(QStringLiteral("transcribe_failed"),
                         report.isEmpty() ? Words::forReport(message) : report);
    Log::write(QStringLiteral("dictation: ") + Words::english(message));
    resetStateLater(failedLasts);
}

void DictationController::keepUnfinished() {
    for (const SessionRef& session : m_waiting) {
        if (!session->discarded) m_with.keptRecording.keep(std::exchange(session->clip, {}));
    }
    for (const SessionRef& session : std::exchange(m_undelivered, {})) {
        if (!session->discarded) m_with.delivery.keep(session->text);
    }
    stopTimer();
    ++m_startGeneration;
    m_preview.reset();
    if (const auto clip = m_with.recorder.close()) m_with.keptRecording.keep(*clip);
}

void DictationController::resetStateLater(double seconds) {
    m_reset = m_with.scheduler.after(seconds, [this, shown = m_state.state] {
        if (m_state.state != shown) return;
        setState({DictationState::idle});
        tellUntold();
    });
}

} // namespace murlo
