#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/EngineState.h"
#include "MurloKit/TranscriptAccumulator.h"
#include "dictation/DictationFailure.h"
#include "dictation/Sounds.h"
#include "dictation/engine/Transcriber.h"
#include "platform/Scheduler.h"
#include "targets/InputTarget.h"

#include <QObject>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>
#include <set>

namespace murlo {

class AudioRecorder;
class Delivery;
class EnginePace;
class ErrorReporter;
class KeptRecording;
class MicrophoneAuthorization;
class OverlayController;
class PromptEnhancer;
class Settings;
class SystemEvents;
class WhisperServer;

/// The collaborators of the controller; all must outlive it.
struct DictationPartners {
    Scheduler& scheduler;
    Settings& settings;
    AudioRecorder& recorder;
    OverlayController& overlay;
    WhisperServer& server;
    EnginePace& pace;
    HttpClient& http;
    InputTargets& targets;
    Delivery& delivery;
    KeptRecording& keptRecording;
    PromptEnhancer& enhancer;
    ErrorReporter& errors;
    MicrophoneAuthorization& microphone;
    SystemEvents& systemEvents;
    Sounds& sounds;
};

/// The state machine of a dictation, from the trigger to the text in the box. Main thread.
///
/// One session is current at a time. A session that has been finished goes on by itself while the
/// user already speaks the next one: its text still goes to its own box, but it no longer touches
/// the state, the recorder or the card. Its messages to the user are shown when the card is free
/// again. A cancelled session leaves only a log line.
class DictationController : public QObject {
    Q_OBJECT

public:
    explicit DictationController(const DictationPartners& partners);
    ~DictationController() override;

    /// Starts a session; does nothing while one is listening. `fromHotkey`: by the dictation
    /// trigger.
    void begin(bool fromHotkey);
    /// Starts a session whose text goes into a box that the user has picked.
    void startAfterTargetPicked(const InputTarget& target);
    /// Ends the recording and sends it to the engine.
    void finish();
    /// Cancels the session, or, once it is recorded, discards its result.
    void cancel();

    /// Call before the program ends: saves the recording under way and the clips that are not
    /// transcribed.
    void keepUnfinished();

    [[nodiscard]] const DictationState& state() const { return m_state; }
    /// Whether the recording under way was started by the dictation trigger.
    [[nodiscard]] bool startedByHotkey() const { return m_startedByHotkey; }
    /// Whether the microphone is being recorded.
    [[nodiscard]] bool isRecording() const;

Q_SIGNALS:
    /// Emitted after the change.
    void stateChanged(const murlo::DictationState& state);
    /// The engine's state has changed; emitted before the card is updated.
    void engineStateChanged(const murlo::EngineState& state);

private:
    struct Session;
    using SessionRef = std::shared_ptr<Session>;

    void setState(const DictationState& state);
    void show(const DictationState& state);
    void play(Sound& sound);
    [[nodiscard]] bool isCurrent(const SessionRef& session) const { return session == m_session; }
    /// Whether the card can show the session's result: no newer dictation is under way.
    [[nodiscard]] bool ownsCard(const SessionRef& session) const;
    void becomeIdle();
    /// Shows the message that was held back while a newer dictation had the card.
    void tellUntold();

    void startRecorder();
    /// Remembers the box that is to receive the text.
    void captureTarget();
    void startTimer();
    void stopTimer();
    void tick();
    void requestPreview();
    void waitForEngine(const SessionRef& session);
    void transcribe(const SessionRef& session);
    void transcribed(const SessionRef& session, const TranscribeResult& result);
    /// Keeps how long the answer took; what there is to say of it follows the text's delivery.
    void timed(const SessionRef& session);
    void brokenOff(const SessionRef& session, const TranscribeError& error);
    /// Calls back after a moment in which the session counts as waiting.
    void pollLater(const SessionRef& session, std::function<void(const SessionRef&)> next);
    [[nodiscard]] std::unique_ptr<HttpTask> send(const QByteArray& clip,
                                                 std::function<void(TranscribeResult)> done);
    void enhanceThenRoute(const SessionRef& session, const QString& text);
    void route(const SessionRef& session, const QString& text);
    void completeDelivery(const SessionRef& session, const QString& text);
    void delivered(const SessionRef& session, const QString& text,
                   const std::optional<Message>& message);
    bool dropIfDiscarded(const SessionRef& session);
    void failSession(const SessionRef& session, const DictationFailure& failure);
    void fail(const Message& message, const QString& report);
    void resetStateLater(double seconds);

    DictationPartners m_with;
    DictationState m_state;
    bool m_startedByHotkey = false;
    std::optional<double> m_startedAt;
    qint64 m_startGeneration = 0;       ///< grows whenever a session begins or its recording ends
    SessionRef m_session;               ///< the current one, or the last
    std::set<SessionRef> m_waiting;     ///< sessions that wait for the engine or its answer
    std::set<SessionRef> m_undelivered; ///< sessions whose text is on its way to its box
    Message m_untold;                   ///< message of an earlier session that is still to be shown
    TranscriptAccumulator m_liveTranscript{6};
    std::unique_ptr<HttpTask> m_preview;
    ScheduledWork m_timer;
    ScheduledWork m_previewTimer;
    ScheduledWork m_reset;
    Lifetime m_lifetime;
};

} // namespace murlo
