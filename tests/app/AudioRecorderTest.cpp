#include "Murlo/dictation/AudioRecorder.h"
#include "MurloKit/WavWriter.h"
#include "tests/support/FakeAudioInput.h"
#include "tests/support/FakeMicrophoneAuthorization.h"
#include "tests/support/Signal.h"
#include "tests/support/TestLog.h"
#include "tests/support/VirtualScheduler.h"

#include <QtTest>

using namespace murlo;

namespace {

using Started = AudioRecorder::Started;
using Results = std::vector<AudioRecorder::StartResult>;

/// A recorder with a microphone that needs no conversion, so that every sample can be counted.
struct Desk {
    Desk() { start(MicrophoneStatus::authorized); }
    explicit Desk(MicrophoneStatus status) { start(status); }

    void start(MicrophoneStatus status) {
        microphone.current = status;
        input.plug({16000, 1});
        scheduler.runPending();
        recorder = std::make_unique<AudioRecorder>(
            scheduler, input, microphone,
            [this](const QString& kind, const QString& detail) { reports << kind << detail; });
        recorder->onLevel = [this](float level) { levels.push_back(level); };
        recorder->onDeviceLost = [this] { ++devicesLost; };
        scheduler.runPending();
    }

    /// Begins a start whose result lands in `results`.
    void beginStart() {
        recorder->start(
            [this](const AudioRecorder::StartResult& result) { results.push_back(result); });
    }
    void record() {
        beginStart();
        scheduler.runPending();
        QVERIFY(recorder->isRecording());
    }
    [[nodiscard]] QStringList audioLines() {
        scheduler.runPending();
        return log.lines(QStringLiteral("audio: "));
    }

    VirtualScheduler scheduler;
    TestLog log{scheduler};
    FakeAudioInput input{scheduler};
    FakeMicrophoneAuthorization microphone{scheduler};
    QStringList reports;
    std::vector<float> levels;
    int devicesLost = 0;
    Results results;
    std::unique_ptr<AudioRecorder> recorder;
};

bool isRecording(const AudioRecorder::StartResult& result) {
    return result && *result == Started::recording;
}
bool isSuperseded(const AudioRecorder::StartResult& result) {
    return result && *result == Started::superseded;
}

} // namespace

class AudioRecorderTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void clipHoldsWhatWasSaidUnlessItIsTooShort_data() {
        QTest::addColumn<int>("samples");
        QTest::addColumn<bool>("kept");
        QTest::newRow("nothing") << 0 << false;
        QTest::newRow("0.1 s") << 1600 << false;
        QTest::newRow("one sample more") << 1601 << true;
        QTest::newRow("longer than the room set aside") << 16000 * 301 << true;
    }
    void clipHoldsWhatWasSaidUnlessItIsTooShort() {
        QFETCH(const int, samples);
        QFETCH(const bool, kept);
        Desk desk;
        desk.record();
        const auto said = sine(440, 16000, samples / 16000.0);
        desk.input.speak(said);
        QCOMPARE(desk.recorder->sampleCount(), said.size());
        const auto clip = desk.recorder->stop();
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(clip.has_value(), kept);
        if (kept) QCOMPARE(*clip, WavWriter::data(said, 16000));
        QStringList expected{QStringLiteral("audio: recording at 16000 Hz → 16000 Hz")};
        if (!kept) expected << QStringLiteral("audio: clip too short (%1 samples)").arg(samples);
        QCOMPARE(desk.audioLines(), expected);
    }

    void snapshotIsTheEndOfTheRecordingSoFar() {
        Desk desk;
        desk.record();
        const auto said = sine(440, 16000, 20);
        desk.input.speak(std::span(said).first(8000));
        QVERIFY(!desk.recorder->snapshot(15));
        desk.input.speak(std::span(said).subspan(8000, 1));
        QCOMPARE(desk.recorder->snapshot(15), WavWriter::data(std::span(said).first(8001), 16000));
        desk.input.speak(std::span(said).subspan(8001));
        QCOMPARE(desk.recorder->snapshot(15), WavWriter::data(std::span(said).last(240000), 16000));
        QVERIFY(!desk.recorder->snapshot(0.5));
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
        QVERIFY(!desk.recorder->snapshot(15));
    }

    void hardwareAudioIsKeptToItsLastMoment() {
        Desk desk;
        desk.input.plug({48000, 2});
        desk.record();
        desk.input.speak(sine(440, 48000, 1.0, 2));
        const auto clip = desk.recorder->stop();
        QCOMPARE(clip->size(), 44 + 2 * 16000);
    }

    void levelsFollowTheHardwareAtAnyBufferSize_data() {
        QTest::addColumn<int>("piece");
        QTest::newRow("whole buffers") << 4096;
        QTest::newRow("short buffers") << 256;
    }
    void levelsFollowTheHardwareAtAnyBufferSize() {
        QFETCH(const int, piece);
        Desk desk;
        desk.record();
        desk.input.speak(sine(500, 16000, 4096.0 * 3 / 16000), static_cast<std::size_t>(piece));
        QCOMPARE(desk.levels.size(), std::size_t{0}); // never on the audio thread
        desk.scheduler.runPending();
        QCOMPARE(desk.levels.size(), std::size_t{3});
        for (const float level : desk.levels) QVERIFY(std::abs(level - 0.3536F) < 0.001);
    }

    void whatMakesNoSenseChangesNothing() {
        Desk desk;
        QVERIFY(!desk.recorder->stop());
        desk.recorder->cancel();
        desk.record();
        const auto said = sine(440, 16000, 0.5);
        desk.input.speak(said);
        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.results.size(), std::size_t{2});
        QVERIFY(isRecording(desk.results[1]));
        QCOMPARE(desk.input.flowingEngines(), 1);
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
        QVERIFY(!desk.recorder->stop());
    }

    void cancelledRecordingLeavesNothingBehind() {
        Desk desk;
        desk.record();
        desk.input.speak(sine(440, 16000, 1));
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
        const QString line = QStringLiteral("audio: default input changed, rewarming");
        Desk desk;
        desk.input.plug({48000, 1});
        QCOMPARE(desk.audioLines(), QStringList{line});
        QCOMPARE(desk.input.enginesMade(), 2);
        desk.record();
        QVERIFY(
            desk.audioLines().contains(QStringLiteral("audio: recording at 48000 Hz → 16000 Hz")));
        desk.input.plug({44100, 1});
        QCOMPARE(desk.audioLines().count(line), 1);
        QCOMPARE(desk.input.enginesMade(), 2);
    }

    // --- failures to start ---

    void failedStartIsTriedOnceMoreOnAFreshEngine() {
        FakeAudioInput::Script broken;
        broken.startError = PlatformError{QStringLiteral("busy"), QStringLiteral("Server"), 7};
        Desk desk;
        desk.input.script(broken);
        desk.input.plug({16000, 1}); // the warm engine is now a broken one
        desk.scheduler.runPending();
        desk.record();
        QCOMPARE(desk.input.enginesMade(), 3);
        QCOMPARE(desk.input.flowingEngines(), 1);
    }

    void errorOfTheSecondAttemptIsTold_data() {
        QTest::addColumn<QString>("failure");
        QTest::addColumn<QString>("description");
        QTest::addColumn<QString>("domainAndCode");
        const QString own = QStringLiteral("AudioRecorder.RecorderError");
        QTest::newRow("no device")
            << QStringLiteral("device")
            << QStringLiteral("No microphone found. Check System Settings → Sound → Input.")
            << own + QStringLiteral(" 0");
        QTest::newRow("format") << QStringLiteral("format")
                                << QStringLiteral("This microphone's audio format isn't supported.")
                                << own + QStringLiteral(" 1");
        QTest::newRow("tap") << QStringLiteral("tap")
                             << QStringLiteral("The microphone changed while starting. Try again.")
                             << own + QStringLiteral(" 2");
        QTest::newRow("start") << QStringLiteral("start") << QStringLiteral("Device is busy.")
                               << QStringLiteral("Server 7");
    }
    void errorOfTheSecondAttemptIsTold() {
        QFETCH(const QString, failure);
        QFETCH(const QString, description);
        QFETCH(const QString, domainAndCode);
        FakeAudioInput::Script script;
        if (failure == QLatin1String("tap")) script.tapError = PlatformError{failure, {}, 1};
        if (failure == QLatin1String("start")) {
            script.startError =
                PlatformError{QStringLiteral("Device is busy."), QStringLiteral("Server"), 7};
        }
        Desk desk;
        if (failure == QLatin1String("device")) desk.input.unplug();
        if (failure == QLatin1String("format")) desk.input.plug({48000, 0});
        for (int i = 0; i < 2; ++i) desk.input.script(script);
        desk.input.plug(failure == QLatin1String("device")   ? AudioFormat{}
                        : failure == QLatin1String("format") ? AudioFormat{48000, 0}
                                                             : AudioFormat{16000, 1});
        desk.scheduler.runPending();

        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.results.size(), std::size_t{1});
        QVERIFY(!desk.results[0].has_value());
        const RecorderError& error = desk.results[0].error();
        QCOMPARE(error.description, description);
        QCOMPARE(error.domain + QLatin1Char(' ') + QString::number(error.code), domainAndCode);
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 0);

        const bool isTap = failure == QLatin1String("tap");
        const QStringList report{QStringLiteral("tap_failed"), QStringLiteral("tap")};
        QCOMPARE(desk.reports, isTap ? report + report : QStringList());
        QCOMPARE(desk.audioLines().contains(QStringLiteral("audio: tap install failed: tap")),
                 isTap);
        // A later attempt, with everything in order again, records.
        desk.input.plug({16000, 1});
        desk.scheduler.runPending();
        desk.record();
    }

    // --- stops that come before a start has completed ---

    void stopBeforeAStartRanLeavesNothingRunning() {
        Desk desk;
        desk.beginStart();
        QVERIFY(!desk.recorder->stop());
        desk.scheduler.runPending();
        QCOMPARE(desk.results.size(), std::size_t{1});
        QVERIFY(isSuperseded(desk.results[0]));
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 0);
        QCOMPARE(desk.input.openEngines(), 1);
    }

    void stopWhileTheDeviceStartsLeavesNothingRunning_data() {
        QTest::addColumn<bool>("whileOpening");
        QTest::newRow("while it is opened") << true;
        QTest::newRow("while it starts") << false;
    }
    void stopWhileTheDeviceStartsLeavesNothingRunning() {
        QFETCH(const bool, whileOpening);
        Desk desk(MicrophoneStatus::notDetermined); // nothing is warm
        FakeAudioInput::Script script;
        (whileOpening ? script.whileOpening : script.whileStarting) = [&] {
            desk.recorder->cancel();
            desk.beginStart(); // the user tries again at once
        };
        desk.input.script(script);
        desk.beginStart();
        desk.scheduler.runPending();
        QCOMPARE(desk.results.size(), std::size_t{2});
        QVERIFY(isSuperseded(desk.results[0]));
        QVERIFY(isRecording(desk.results[1]));
        QVERIFY(desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 1);
        const auto said = sine(440, 16000, 1);
        desk.input.speak(said);
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
    }

    void stopBetweenAStartAndItsCompletionHandsOverWhatWasSaid() {
        Desk desk;
        const auto said = sine(440, 16000, 1);
        std::optional<QByteArray> clip;
        FakeAudioInput::Script script;
        desk.input.script(script);
        desk.input.plug({16000, 1});
        desk.scheduler.runPending();
        desk.beginStart();
        // Comes after the start's work and before its completion.
        desk.scheduler.nextTurn([&] {
            QVERIFY(desk.recorder->isRecording());
            desk.input.speak(said);
            clip = desk.recorder->stop();
        });
        desk.scheduler.runPending();
        QCOMPARE(clip, WavWriter::data(said, 16000));
        QVERIFY(isSuperseded(desk.results.at(0)));
    }

    void firstBufferOfTheDeviceCounts() {
        Desk desk;
        const auto said = sine(440, 16000, 1);
        FakeAudioInput::Script script;
        script.whileStarting = [&] { desk.input.speak(said); };
        desk.input.script(script);
        desk.input.plug({16000, 1});
        desk.scheduler.runPending();
        desk.record();
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
    }

    // --- changes of the device while recording ---

    void renegotiatedRouteGoesOn() {
        Desk desk;
        desk.record();
        desk.input.renegotiate();
        QCOMPARE(desk.audioLines().last(),
                 QStringLiteral("audio: route renegotiated, still recording"));
        QCOMPARE(desk.input.enginesMade(), 1);
    }

    void recordingGoesOnWithTheDeviceThatIsLeft() {
        Desk desk;
        desk.record();
        const auto said = sine(440, 16000, 2);
        desk.input.speak(std::span(said).first(16000));
        desk.input.unplug();
        desk.input.plug({16000, 1});
        QCOMPARE(desk.audioLines().last(), QStringLiteral("audio: capture resumed on new route"));
        QVERIFY(desk.recorder->isRecording());
        desk.input.speak(std::span(said).last(16000));
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
        QCOMPARE(desk.devicesLost, 0);
    }

    void lostDeviceIsToldAndWhatWasSaidIsKept() {
        Desk desk;
        desk.record();
        const auto said = sine(440, 16000, 1);
        desk.input.speak(said);
        desk.input.unplug();
        QCOMPARE(desk.audioLines().last(),
                 QStringLiteral("audio: could not resume after route change: No microphone found. "
                                "Check System Settings → Sound → Input."));
        QCOMPARE(desk.devicesLost, 1);
        QVERIFY(desk.recorder->isRecording());
        QCOMPARE(desk.recorder->stop(), WavWriter::data(said, 16000));
    }

    void stopWhileAnotherDeviceIsOpenedEndsTheRecording() {
        Desk desk;
        desk.record();
        const auto said = sine(440, 16000, 1);
        desk.input.speak(said);
        std::optional<QByteArray> clip;
        FakeAudioInput::Script script;
        script.whileStarting = [&] { clip = desk.recorder->stop(); };
        desk.input.script(script);
        desk.input.unplug();
        desk.input.plug({16000, 1});
        desk.scheduler.runPending();
        QCOMPARE(clip, WavWriter::data(said, 16000));
        QVERIFY(!desk.recorder->isRecording());
        QCOMPARE(desk.input.flowingEngines(), 0);
        QCOMPARE(desk.devicesLost, 0);
    }

    void deviceLostBeforeTheStartCompletedIsNoticed() {
        Desk desk;
        FakeAudioInput::Script script;
        script.whileStarting = [&] { desk.input.unplug(); };
        desk.input.script(script);
        desk.input.plug({16000, 1});
        desk.scheduler.runPending();
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
        desk.scheduler.runPending();
        desk.scheduler.advance(10);
        QCOMPARE(desk.results.size(), std::size_t{1}); // the first; nobody waits for the second
        QCOMPARE(desk.input.engines(), 0);
    }
};

QTEST_GUILESS_MAIN(AudioRecorderTest)
#include "AudioRecorderTest.moc"
