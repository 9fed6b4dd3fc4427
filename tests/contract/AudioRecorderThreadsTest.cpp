#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "dictation/recording/AudioConverter.h"
#include "dictation/recording/AudioRecorder.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"

#include <QtEndian>
#include <QtTest>

#include <thread>

using namespace murlo;

namespace {

constexpr std::size_t rate = AudioConverter::targetSampleRate;
constexpr int patience = 10'000; // milliseconds

} // namespace

/// The recorder on real threads: for locks held across calls that wait, and for the sanitizers.
class AudioRecorderThreadsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startsAndStopsMayMeetAudioAndChangesAtAnyMoment() {
        QtScheduler scheduler;
        FakeAudioInput input(scheduler);
        FakeMicrophoneAuthorization microphone(scheduler);
        AudioRecorder recorder(scheduler, input, microphone, [](const QString&, const QString&) {});
        const std::jthread speaker([&](const std::stop_token& ended) {
            const auto said = sine(440, 48000, 0.01);
            while (!ended.stop_requested()) input.speak(said, 240);
        });
        int completed = 0;
        int recorded = 0;
        for (int round = 0; round < 100; ++round) {
            recorder.start([&](const AudioRecorder::StartResult& result) {
                ++completed;
                if (result && *result == AudioRecorder::Started::recording) ++recorded;
            });
            if (round % 4 == 0) QTRY_VERIFY_WITH_TIMEOUT(completed == round + 1, patience);
            if (round % 5 == 0) input.renegotiate();
            if (round % 8 == 0) input.unplug();
            input.plug({48000, 1});
            (void)recorder.snapshot(0.6);
            if (round % 2 == 0) {
                (void)recorder.stop();
            } else {
                recorder.cancel();
            }
            QCOMPARE(recorder.sampleCount(), std::size_t{0});
        }
        QTRY_VERIFY_WITH_TIMEOUT(completed == 100, patience);
        QVERIFY(recorded >= 25);
        QTRY_VERIFY_WITH_TIMEOUT(input.flowingEngines() == 0, patience);
    }

    void recordingOutlivesItsMicrophone() {
        SoundServer server;
        QVERIFY(server.start());
        QVERIFY(server.plug("built-in", {44100, 2}));
        QVERIFY(server.plug("headset", {48000, 1}));
        QtScheduler scheduler;
        PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
        FakeMicrophoneAuthorization microphone(scheduler);
        AudioRecorder recorder(scheduler, input, microphone, [](const QString&, const QString&) {});
        int lost = 0;
        recorder.onDeviceLost = [&] { ++lost; };
        bool started = false;
        recorder.start(
            [&](const AudioRecorder::StartResult& result) { started = result.has_value(); });
        QTRY_VERIFY_WITH_TIMEOUT(started, patience);
        QVERIFY(server.speakInto("headset", sine(997, 48000, 1)));
        QVERIFY(server.finishSpeaking());

        server.unplug("headset");
        const std::size_t before = recorder.sampleCount();
        QTRY_VERIFY_WITH_TIMEOUT(recorder.sampleCount() > before + rate, patience);
        QCOMPARE(lost, 0);
        server.unplug("built-in");
        QTRY_VERIFY_WITH_TIMEOUT(lost == 1, patience);
        QVERIFY(recorder.isRecording());
        const auto clip = recorder.stop();
        QVERIFY(clip.has_value());
        QVERIFY(static_cast<std::size_t>(clip->size()) > 44 + 2 * (before + rate));
        // The second that was said before the change is in it, whole.
        int loud = 0;
        for (qsizetype at = 44; at < clip->size(); at += 2)
            loud += std::abs(qFromLittleEndian<qint16>(clip->constData() + at)) > 327 ? 1 : 0;
        QVERIFY2(loud > 15400 && loud <= 16100, qPrintable(QString::number(loud)));
    }
};

QTEST_GUILESS_MAIN(AudioRecorderThreadsTest)
#include "AudioRecorderThreadsTest.moc"
