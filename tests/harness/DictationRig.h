#pragma once

#include "dictation/DictationController.h"
#include "dictation/EngineTuner.h"
#include "dictation/delivery/Delivery.h"
#include "dictation/delivery/HistoryStore.h"
#include "dictation/delivery/TextInserter.h"
#include "dictation/engine/EngineDevices.h"
#include "dictation/engine/EnginePace.h"
#include "dictation/engine/WhisperServer.h"
#include "dictation/recording/AudioRecorder.h"
#include "dictation/recording/KeptRecording.h"
#include "overlay/OverlayController.h"
#include "telemetry/UsageTracker.h"
#include "tests/fakes/FakeAccessibility.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/fakes/FakeKeySynthesizer.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/fakes/FakePasteboard.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/fakes/FakeSoundPlayer.h"
#include "tests/fakes/FakeSystemEvents.h"
#include "tests/harness/AccountRig.h"

namespace murlo {

/// A whole dictation on fakes: the real controller with the real recorder, supervisor, transcriber
/// and inserter, a focused text box, a microphone and an engine that the test speaks for.
class DictationRig : public AccountRig {
public:
    DictationRig();

    /// Speaks for so many seconds while time passes.
    void speak(double seconds);
    /// The engine becomes ready, as far as the supervisor can see.
    void engineGetsReady();
    /// The engine answers the oldest clip it has: with this text, or with this status and body;
    /// what follows from that at once has happened on return. `…Only` leaves it to come.
    void engineAnswers(const QString& text);
    void engineAnswersOnly(const QString& text);
    void engineRefuses(int status, const QByteArray& body);
    /// Clips with the engine now.
    [[nodiscard]] int clipsAtEngine() const;

    /// What the card tells: a delivered text, or why none was.
    [[nodiscard]] QString card();
    /// States so far, as "listening", "delivered: text", …; cleared by the call.
    [[nodiscard]] QStringList takeStates();
    [[nodiscard]] bool logged(const QString& line) const;

    FakeAudioInput audio{scheduler};
    FakeMicrophoneAuthorization microphone{scheduler};
    FakeSoundPlayer soundPlayer;
    FakeAccessibility accessibility{scheduler};
    FakePasteboard pasteboard{scheduler};
    FakeKeySynthesizer keys{scheduler};
    FakeSystemEvents systemEvents;
    FakeProcessLauncher processes;
    FakeHttpClient http;
    ElementRef box;               ///< has the focus at the start
    QStringList pasted;           ///< what paste chords brought, in order
    QList<ElementRef> boxAtPaste; ///< where the focus was then
    QString modelPath;            ///< of the speech model; exists at the start

    HistoryStore history;
    UsageTracker usage;
    OverlayController overlay;
    Sounds sounds;
    AudioRecorder recorder;
    EngineDevices devices;
    WhisperServer server;
    EnginePace pace;
    InputTargets targets;
    TextInserter inserter;
    Delivery delivery;
    KeptRecording keptRecording;
    DictationController controller;
    EngineTuner tuner;

private:
    QStringList m_states;
};

} // namespace murlo
