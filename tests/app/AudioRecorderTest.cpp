#include "dictation/recording/AudioRecorder.h"
#include "MurloKit/WavWriter.h"
#include "look/Words.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Signal.h"
#include "tests/harness/TestLog.h"

#include <QtTest>

using namespace murlo;

namespace {

using Script = FakeAudioInput::Script;

constexpr AudioFormat plain{16000, 1}; ///< needs no conversion: every sample can be counted
const std::vector<float> said = sine(440, 16000, 2);

QByteArray wav(std::span<const float> samples) {
    return WavWriter::data(samples, 16000);
}

/// A script of this one thing.
template <typename Member, typename Value>
Script only(Member Script::*what, Value value) {
    Script script;
    script.*what = std::move(value);
    return script;
}

struct Desk {
    explicit Desk(MicrophoneStatus status = MicrophoneStatus::authorized) {
        microphone.current = status;
        plug(plain);
        recorder = std::make_unique<AudioRecorder>(
            scheduler, input, microphone,
            [this](const QString& kind, const QString& detail) { reports << kind << detail; });
        recorder->onDeviceLost = [this] { ++devicesLost; };
        scheduler.runPending();
    }

    void plug(AudioFormat format) {
        input.plug(format);
        scheduler.runPending();
    }
    /// The engine that is warm now is replaced by one that meets something special.
    void meet(const Script& script) {
        input.script(script);
        plug(plain);
    }
    /// Begins a start whose result lands in `results`.
    void beginStart() {
        recorder->start([this](const AudioRecorder::StartResult& result) {
            if (!result) {
                const RecorderError& error = result.error();
                results << Words::english(error.message) + " " + error.domain + " " +
                               QString::number(error.code);
            } else {
                const bool recording = *result == AudioRecorder::Started::recording;
                results << (recording ? "recording" : "superseded");
            }
        });
    }
    void record() {
        beginStart();
        scheduler.runPending();
        QVERIFY(recorder->isRecording());
        QCOMPARE(results.last(), "recording");
    }
    [[nodiscard]] QStringList audioLines() {
        scheduler.runPending();
        return log.lines("audio: ");
    }

    VirtualScheduler scheduler;
    TestLog log{scheduler};
    FakeAudioInput input{scheduler};
    FakeMicrophoneAuthorization microphone{scheduler};
    QStringList reports;
    QStringList results; ///< "recording", "superseded" or the error
    int devicesLost = 0;
    std::unique_ptr<AudioRecorder> recorder;
};

} // namespace

class AudioRecorderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clipHoldsWhatWasSaidUnlessItIsTooShort() {
        for (const int samples : {0, 1600, 1601, 16000 * 301}) { // the last: more than is reserved
            Desk desk;
            desk.record();
            const auto speech = sine(440, 16000, samples / 16000.0);
            desk.input.speak(speech);
            QCOMPARE(desk.recorder->sampleCount(), speech.size());
            const auto clip = desk.recorder->stop();
            QVERIFY(!desk.recorder->isRecording());
            QStringList log{"audio: recording at 16000 Hz → 16000 Hz"};
            if (samples > 1600) {
                QCOMPARE(clip, wav(speech));
            } else {
                QVERIFY(!clip);
                log << QString("audio: clip too short (%1 samples)").arg(samples);
            }
            QCOMPARE(desk.audioLines(), log);
        }
    }

    void snapshotIsTheEndOfTheRecordingSoFar() {
        Desk desk;
        desk.record();
        const auto speech = sine(440, 16000, 20);
        desk.input.speak(std::span(speech).first(8000));
        QVERIFY(!desk.recorder->snapshot(15));
        desk.input.speak(std::span(speech).subspan(8000, 1));
        QCOMPARE(desk.recorder->snapshot(15), wav(std::span(speech).first(8001)));
        desk.input.speak(std::span(speech).subspan(8001));
        QCOMPARE(desk.recorder->snapshot(15), wav(std::span(speech).last(240000)));
        QVERIFY(!desk.recorder->snapshot(0.5));
        QCOMPARE(desk.recorder->stop(), wav(speech));
        QVERIFY(!desk.recorder->snapshot(15));
    }

    void hardwareAudioIsKeptToItsLastMoment() {
        Desk desk;
        desk.plug({48000, 2});
        desk.record();
        desk.input.speak(sine(440, 48000, 1.0, 2));
        QCOMPARE(desk.recorder->stop()->size(), 44 + 2 * 16000);
    }

    void levelsFollowTheHardwareAtAnyBufferSize() {
        for (const std::size_t piece : {4096, 256}) {
            Desk desk;
            std::vector<float> levels;
            desk.recorder->onLevel = [&](float level) { levels.push_back(level); };
            desk.record();
            desk.input.speak(sine(500, 16000, 4096.0 * 3 / 16000), piece);
            QVERIFY(levels.empty()); // never on the audio thread
            desk.scheduler.runPending();
            QCOMPARE(levels.size(), std::size_t{3});
            for (const float level : levels) QVERIFY(std::abs(level - 0.3536F) < 0.001);
        }
    }

    void whatMakesNoSenseChangesNothing() {
        Desk desk;
        QVERIFY(!desk.recorder->stop());
        desk.recorder->cancel();
        desk.record();
        desk.input.speak(said);
        desk.record(); // goes on with the one under way
        QCOMPARE(desk.input.flowingEngines(), 1);
        QCOMPARE(desk.recorder->stop(), wav(said));
        QVERIFY(!desk.recorder->stop());
    }

    void cancelledRecordingLeavesNothingBehind() {
        Desk desk;
        desk.record();
        desk.input.speak(said);
        desk.recorder->cancel();
        QCOMPARE(desk.input.flowingEngines(), 0);
        QVERIFY(!desk.recorder->stop());
        desk.record();
        QCOMPARE(desk.recorder->sampleCount(), std::size_t{0});
    }

    // --- warm engines ---

    void recordingTakesTheWarmEngineAndLeavesANewOne() {
        Desk desk;
        QCOMPARE(desk.input.openEngines(), 1);
        desk.record();
        QCOMPARE(desk.input.enginesMade(), 1);
        desk.recorder->stop();
        desk.scheduler.runPending();
        QCOMPARE(desk.input.enginesMade(), 2);
        // The old one is destroyed 2 s later, not on the spot.
        desk.scheduler.advance(1.9);
        QCOMPARE(desk.input.engines(), 2);
        desk.scheduler.advance(0.2);
        QCOMPARE(desk.input.engines(), 1);
        QCOMPARE(desk.scheduler.pendingTimers(), 0);
    }

    void withoutAuthorisationNoDeviceIsOpened() {
        Desk desk(MicrophoneStatus::notDetermined);
        desk.recorder->prewarm();
        desk.scheduler.runPending();
        QCOMPARE(desk.input.enginesMade(), 0);
        desk.microphone.current = MicrophoneStatus::authorized;
        desk.recorder->prewarm();
        desk.scheduler.runPending();
        QCOMPARE(desk.input.openEngines(), 1);
    }

    void newDefaultInputIsOpenedInAdvanceUnlessRecording() {
        const QString line = "audio: default input changed, rewarming";
        Desk desk;
        desk.input.plug({48000, 1});
        QCOMPARE(desk.audioLines(), QStringList{line});
        QCOMPARE(desk.input.enginesMade(), 2);
        desk.record();
        QVERIFY(desk.audioLines().contains("audio: recording at 48000 Hz → 16000 Hz"));
        desk.input.plug({44100, 1});
        QCOMPARE(desk.audioLines().count(line), 1);
        QCOMPARE(desk.input.enginesMade(), 2);
    }

    // --- failures to start ---

    void failedStartIsTriedOnceMoreOnAFreshEngine() {
        Desk desk;
        desk.meet(only(&Script::startError, PlatformError{"busy", "Server", 7}));
        desk.record();
        QCOMPARE(desk.input.enginesMade(), 3);
        QCOMPARE(desk.input.flowingEngines(), 1);
    }

    void errorOfTheSecondAttemptIsTold_data() {
        QTest::addColumn<AudioFormat>("device");
        QTest::addColumn<Script>("script");
        QTest::addColumn<QString>("error");
        const auto row = [](const char* name, AudioFormat device, const Script& script,
                            const char* error) {
            QTest::newRow(name) << device << script << QString(error);
        };
        const PlatformError busy{"It is busy.", "Server", 7};
        row("no device", {}, {},
            "No microphone found. Check System Settings → Sound → Input. "
            "AudioRecorder.RecorderError 0");
        row("format", {48000, 0}, {},
            "This microphone's audio format isn't supported. AudioRecorder.RecorderError 1");
        row("tap", plain, only(&Script::tapError, busy),
            "The microphone changed while starting. Try again. AudioRecorder.RecorderError 2");
        row("start", plain, only(&Script::startError, busy), "It is busy. Server 7");
    }
    void errorOfTheSecondAttemptIsTold() {
        QFETCH(const AudioFormat, device);
        QFETCH(const Script, script);
        Desk desk;
        for (int i = 0; i < 2; ++i) desk.input.script(script);
        desk.plug(device);
        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.results.size(), 1);
        QTEST(desk.results.first(), "error");
        const bool tap = script.tapError.has_value();
        const QStringList report{"tap_failed", "It is busy."};
        QCOMPARE(desk.reports, tap ? report + report : QStringList());
        QCOMPARE(desk.audioLines().contains("audio: tap install failed: It is busy."), tap);
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 0);
        desk.plug(plain);
        desk.record(); // with everything in order again
    }

    // --- stops that come before a start has completed ---

    void stopBeforeAStartRanLeavesNothingRunning() {
        Desk desk;
        desk.beginStart();
        QVERIFY(!desk.recorder->stop());
        desk.scheduler.runPending();
        QCOMPARE(desk.results, QStringList{"superseded"});
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 0);
        QCOMPARE(desk.input.openEngines(), 1);
    }

    void stopWhileTheDeviceStartsMakesWayForTheNextStart() {
        for (const auto moment : {&Script::whileOpening, &Script::whileStarting}) {
            Desk desk(MicrophoneStatus::notDetermined); // nothing is warm
            desk.input.script(only(moment, [&] {
                desk.recorder->cancel();
                desk.beginStart(); // the user tries again at once
            }));
            desk.beginStart();
            desk.scheduler.runPending();
            QCOMPARE(desk.results, (QStringList{"superseded", "recording"}));
            QCOMPARE(desk.input.flowingEngines(), 1);
            desk.input.speak(said);
            QCOMPARE(desk.recorder->stop(), wav(said));
        }
    }

    void stopBetweenAStartAndItsCompletionHandsOverWhatWasSaid() {
        Desk desk;
        std::optional<QByteArray> clip;
        desk.beginStart();
        // Comes after the start's work and before its completion.
        desk.scheduler.nextTurn([&] {
            QVERIFY(desk.recorder->isRecording());
            desk.input.speak(said);
            clip = desk.recorder->stop();
        });
        desk.scheduler.runPending();
        QCOMPARE(clip, wav(said));
        QCOMPARE(desk.results, QStringList{"superseded"});
    }

    void firstBufferOfTheDeviceCounts() {
        Desk desk;
        desk.meet(only(&Script::whileStarting, [&] { desk.input.speak(said); }));
        desk.record();
        QCOMPARE(desk.recorder->stop(), wav(said));
    }

    // --- changes of the device while recording ---

    void changedRouteKeepsTheRecording_data() {
        QTest::addColumn<QString>("line");
        QTest::newRow("renegotiated") << "audio: route renegotiated, still recording";
        QTest::newRow("replaced") << "audio: capture resumed on new route";
        QTest::newRow("lost") << "audio: could not resume after route change: No microphone found. "
                                 "Check System Settings → Sound → Input.";
    }
    void changedRouteKeepsTheRecording() {
        const QByteArray change = QTest::currentDataTag();
        Desk desk;
        desk.record();
        desk.input.speak(std::span(said).first(16000));
        change == "renegotiated" ? desk.input.renegotiate() : desk.input.unplug();
        if (change == "replaced") desk.input.plug(plain);
        QTEST(desk.audioLines().last(), "line");
        QCOMPARE(desk.input.enginesMade(), change == "renegotiated" ? 1 : 2);
        const bool lost = change == "lost";
        QCOMPARE(desk.devicesLost, lost ? 1 : 0);
        QVERIFY(desk.recorder->isRecording());
        desk.input.speak(std::span(said).last(16000));
        QCOMPARE(desk.recorder->stop(), wav(std::span(said).first(lost ? 16000 : 32000)));
    }

    void stopWhileAnotherDeviceIsOpenedEndsTheRecording() {
        for (const bool opens : {true, false}) {
            Desk desk;
            desk.record();
            desk.input.speak(said);
            std::optional<QByteArray> clip;
            const auto moment = opens ? &Script::whileStarting : &Script::whileOpening;
            Script script = only(moment, [&] { clip = desk.recorder->stop(); });
            if (!opens) script.startError = PlatformError{"It is busy.", "Server", 7};
            desk.input.script(script);
            desk.input.unplug();
            desk.plug(plain);
            QCOMPARE(clip, wav(said));
            QVERIFY(!desk.recorder->isRecording());
            QCOMPARE(desk.input.flowingEngines(), 0);
            QCOMPARE(desk.devicesLost, 0);
        }
    }

    void deviceLostBeforeTheStartCompletedIsNoticed() {
        Desk desk;
        desk.meet(only(&Script::whileStarting, [&] { desk.input.unplug(); }));
        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.devicesLost, 1);
    }

    void recorderThatGoesAwayStopsItsEngine() {
        Desk desk;
        desk.record();
        desk.beginStart();
        desk.recorder.reset();
        QCOMPARE(desk.input.flowingEngines(), 0);
        desk.scheduler.advance(10);
        QCOMPARE(desk.results.size(), 1); // the first; nobody waits for the second
        QCOMPARE(desk.input.engines(), 0);
    }
};

QTEST_GUILESS_MAIN(AudioRecorderTest)
#include "AudioRecorderTest.moc"
