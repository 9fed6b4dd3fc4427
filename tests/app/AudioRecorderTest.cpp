#include "dictation/recording/AudioRecorder.h"
#include "MurloKit/WavWriter.h"
#include "dictation/recording/AudioConverter.h"
#include "look/Words.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Rows.h"
#include "tests/harness/Signal.h"
#include "tests/harness/TestLog.h"

using namespace murlo;

namespace {

using Script = FakeAudioInput::Script;

constexpr int rate = AudioConverter::targetSampleRate;
constexpr AudioFormat plain{rate, 1}; ///< needs no conversion: every sample can be counted
const std::vector<float> said = sine(440, rate, 2);
const PlatformError busy{"It is busy.", "Server", 7};

QByteArray wav(std::span<const float> samples) {
    return WavWriter::data(samples, rate);
}

struct Desk {
    /// An engine is warm already where the microphone is authorised.
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
    /// Begins a start whose result lands in `results`.
    void beginStart() {
        recorder->start([this](const AudioRecorder::StartResult& result) {
            if (result) {
                const bool recording = *result == AudioRecorder::Started::recording;
                results << (recording ? "recording" : "superseded");
            } else {
                const auto& [message, domain, code] = result.error();
                results << QString("%1 %2 %3").arg(Words::english(message), domain).arg(code);
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
        for (const int samples : {0, 1600, 1601, rate * 301}) { // the last: more than is reserved
            Desk desk;
            desk.record();
            const auto speech = sine(440, rate, double(samples) / rate);
            desk.input.speak(speech);
            QCOMPARE(desk.recorder->sampleCount(), speech.size());
            const auto clip = desk.recorder->stop();
            QVERIFY(!desk.recorder->isRecording());
            QStringList log{"audio: recording at 16000 Hz → 16000 Hz"};
            const bool tooShort = samples <= 1600;
            if (tooShort) log << QString("audio: clip too short (%1 samples)").arg(samples);
            QCOMPARE(clip, tooShort ? std::nullopt : std::optional(wav(speech)));
            QCOMPARE(desk.audioLines(), log);
        }
    }

    void snapshotIsTheEndOfTheRecordingSoFar() {
        Desk desk;
        desk.record();
        const auto speech = sine(440, rate, 20);
        desk.input.speak(std::span(speech).first(8000));
        QVERIFY(!desk.recorder->snapshot(15));
        desk.input.speak(std::span(speech).subspan(8000, 1));
        QCOMPARE(desk.recorder->snapshot(15), wav(std::span(speech).first(8001)));
        desk.input.speak(std::span(speech).subspan(8001));
        QCOMPARE(desk.recorder->snapshot(15), wav(std::span(speech).last(15 * rate)));
        QVERIFY(!desk.recorder->snapshot(0.5));
        QCOMPARE(desk.recorder->stop(), wav(speech));
        QVERIFY(!desk.recorder->snapshot(15));
        desk.plug({48000, 2});
        desk.record();
        desk.input.speak(sine(440, 48000, 1.0, 2));
        QCOMPARE(desk.recorder->stop()->size(), 44 + 2 * rate); // to the last moment
    }

    void levelsFollowTheHardwareAtAnyBufferSize() {
        for (const std::size_t piece : {4096, 256}) {
            Desk desk;
            std::vector<float> levels;
            desk.recorder->onLevel = [&](float level) { levels.push_back(level); };
            desk.record();
            desk.input.speak(sine(500, rate, 4096.0 * 3 / rate), piece);
            QVERIFY(levels.empty()); // never on the audio thread
            desk.scheduler.runPending();
            QCOMPARE(levels.size(), std::size_t{3});
            for (const float level : levels) QVERIFY(std::abs(level - 0.3536F) < 0.001);
        }
    }

    void onlyWhatWasNotCancelledIsKept() {
        Desk desk;
        QVERIFY(!desk.recorder->stop());
        desk.recorder->cancel();
        desk.record();
        desk.input.speak(said);
        desk.recorder->cancel();
        QCOMPARE(desk.input.flowingEngines(), 0);
        QVERIFY(!desk.recorder->stop());
        desk.record();
        QCOMPARE(desk.recorder->sampleCount(), std::size_t{0});
        desk.input.speak(said);
        desk.record(); // goes on with the one under way
        QCOMPARE(desk.input.flowingEngines(), 1);
        QCOMPARE(desk.recorder->stop(), wav(said));
        QVERIFY(!desk.recorder->stop());
    }

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
        for (const auto status : {MicrophoneStatus::notDetermined, MicrophoneStatus::authorized}) {
            desk.microphone.current = status;
            desk.recorder->prewarm();
            desk.scheduler.runPending();
            QCOMPARE(desk.input.openEngines(), status == MicrophoneStatus::authorized ? 1 : 0);
        }
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

    void failedStartIsTriedOnceMoreOnAFreshEngine_data() {
        const Rows<QString, AudioFormat, QList<Script>> row;
        const Script busyTap{.tapError = busy};
        const Script busyStart{.startError = busy};
        row("busy once", "recording", plain, {busyStart});
        row("busy", "It is busy. Server 7", plain, {busyStart, busyStart});
        row("no device", "No microphone found. Check System Settings → Sound → Input. "
                         "AudioRecorder.RecorderError 0");
        row("format",
            "This microphone's audio format isn't supported. AudioRecorder.RecorderError 1",
            {48000, 0}, {});
        row("tap",
            "The microphone changed while starting. Try again. AudioRecorder.RecorderError 2",
            plain, {busyTap, busyTap});
    }
    void failedStartIsTriedOnceMoreOnAFreshEngine() {
        const auto [result, device, scripts] = fetch<QString, AudioFormat, QList<Script>>();
        const bool works = result == "recording";
        const bool tap = !scripts.isEmpty() && scripts.first().tapError.has_value();
        Desk desk;
        for (const Script& script : scripts) desk.input.script(script);
        desk.plug(device);
        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.results, QStringList{result});
        QCOMPARE(desk.input.enginesMade(), 3);
        QCOMPARE(desk.input.flowingEngines(), works ? 1 : 0);
        QCOMPARE(desk.recorder->isRecording(), works);
        const QStringList report{"tap_failed", "It is busy."};
        QCOMPARE(desk.reports, tap ? report + report : QStringList());
        QCOMPARE(desk.audioLines().contains("audio: tap install failed: It is busy."), tap);
        desk.plug(plain);
        desk.record(); // with everything in order again
    }

    void stopDuringAStartLeavesNothingRunning_data() {
        const Rows<bool> again;
        for (const QByteArray moment : {"queued", "opening", "starting", "completing"}) {
            again(moment, false);
            again(moment + ", and started again", true);
        }
    }
    void stopDuringAStartLeavesNothingRunning() {
        const bool again = std::get<0>(fetch<bool>());
        const QByteArray moment = QByteArray(QTest::currentDataTag()).split(',').first();
        const bool completing = moment == "completing"; // its work is done
        Desk desk(MicrophoneStatus::notDetermined);     // nothing is warm
        desk.microphone.current = MicrophoneStatus::authorized;
        std::optional<QByteArray> clip;
        const auto stop = [&] {
            QCOMPARE(desk.recorder->isRecording(), completing);
            desk.input.speak(said);
            clip = desk.recorder->stop();
            if (again) desk.beginStart();
        };
        if (moment == "opening") desk.input.script({.whileOpening = stop});
        if (moment == "starting") desk.input.script({.whileStarting = stop});
        desk.beginStart();
        if (moment == "queued") stop();
        if (completing) desk.scheduler.nextTurn(stop);
        desk.scheduler.runPending();
        QCOMPARE(clip, completing ? std::optional(wav(said)) : std::nullopt);
        const QStringList superseded{"superseded"};
        QCOMPARE(desk.results, again ? superseded + QStringList{"recording"} : superseded);
        QCOMPARE(desk.input.flowingEngines(), again ? 1 : 0);
        desk.input.speak(said);
        QCOMPARE(desk.recorder->stop(), again ? std::optional(wav(said)) : std::nullopt);
        desk.scheduler.advance(3);
        QCOMPARE(desk.input.openEngines(), 1); // a warm one, in place of the one used up
        if (moment == "queued" && !again) QCOMPARE(desk.input.enginesMade(), 1);
    }

    void changedRouteKeepsTheRecording_data() {
        const Rows<QString, int> row;
        const QString none = "audio: could not resume after route change: No microphone found. "
                             "Check System Settings → Sound → Input.";
        row("renegotiated", "audio: route renegotiated, still recording", 1);
        row("replaced", "audio: capture resumed on new route", 2);
        row("lost", none, 2);
        row("lost again while another is opened", none, 3);
    }
    void changedRouteKeepsTheRecording() {
        const auto [line, engines] = fetch<QString, int>();
        const QByteArray change = QTest::currentDataTag();
        Desk desk;
        desk.record();
        desk.input.speak(std::span(said).first(rate));
        if (change.endsWith("opened"))
            desk.input.script({.whileStarting = [&] { desk.input.unplug(); }});
        change == "renegotiated" ? desk.input.renegotiate() : desk.input.unplug();
        if (change != "lost") desk.input.plug(plain);
        QCOMPARE(desk.audioLines().last(), line);
        QCOMPARE(desk.input.enginesMade(), engines);
        const bool lost = change.startsWith("lost");
        QCOMPARE(desk.devicesLost, lost ? 1 : 0);
        QVERIFY(desk.recorder->isRecording());
        desk.input.speak(std::span(said).last(rate));
        QCOMPARE(desk.recorder->stop(), wav(std::span(said).first(lost ? rate : 2 * rate)));
    }

    void stopWhileAnotherDeviceIsOpenedEndsTheRecording() {
        for (const bool opens : {true, false}) {
            Desk desk;
            desk.record();
            desk.input.speak(said);
            std::optional<QByteArray> clip;
            const auto stop = [&] { clip = desk.recorder->stop(); };
            desk.input.script(opens ? Script{.whileStarting = stop}
                                    : Script{.whileOpening = stop, .startError = busy});
            desk.input.unplug();
            desk.plug(plain);
            QCOMPARE(clip, wav(said));
            QVERIFY(!desk.recorder->isRecording());
            QCOMPARE(desk.input.flowingEngines(), 0);
            QCOMPARE(desk.devicesLost, 0);
        }
    }

    void firstBufferOfADeviceCountsAndItsLossBeforeTheStartCompletedIsNoticed() {
        Desk desk;
        desk.input.script({.whileStarting = [&] {
            desk.input.speak(said);
            desk.input.unplug();
        }});
        desk.plug(plain); // that engine is warm now
        desk.record();
        QCOMPARE(desk.devicesLost, 1);
        QCOMPARE(desk.recorder->stop(), wav(said));
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
