#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "dictation/recording/AudioConverter.h"
#include "dictation/recording/AudioRecorder.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/fakes/FakeMicrophoneAuthorization.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"
#include "tests/harness/ThreadScheduler.h"

#include <QtEndian>
#include <QtTest>

#include <thread>

using namespace murlo;

namespace {

constexpr std::size_t rate = AudioConverter::targetSampleRate;

/// Runs the main thread's turns until the condition holds.
bool comesTrue(ThreadScheduler& scheduler, const std::function<bool()>& condition) {
    return QTest::qWaitFor(
        [&] {
            scheduler.runPending();
            return condition();
        },
        10000);
}

} // namespace

/// The recorder on real threads: for locks held across calls that wait, and for the sanitizers.
class AudioRecorderThreadsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void startsAndStopsMayMeetAudioAndChangesAtAnyMoment() {
        ThreadScheduler scheduler;
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
            if (round % 4 == 0)
                QVERIFY(comesTrue(scheduler, [&] { return completed == round + 1; }));
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
        QVERIFY(comesTrue(scheduler, [&] { return completed == 100; }));
        QVERIFY(recorded >= 25);
        QVERIFY(comesTrue(scheduler, [&] { return input.flowingEngines() == 0; }));
    }

    void recordingOutlivesItsMicrophone() {
        SoundServer server;
        QVERIFY(server.start());
        QVERIFY(server.plug("built-in", {44100, 2}));
        QVERIFY(server.plug("headset", {48000, 1}));
        ThreadScheduler scheduler;
        PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
        FakeMicrophoneAuthorization microphone(scheduler);
        AudioRecorder recorder(scheduler, input, microphone, [](const QString&, const QString&) {});
        int lost = 0;
        recorder.onDeviceLost = [&] { ++lost; };
        bool started = false;
        recorder.start(
            [&](const AudioRecorder::StartResult& result) { started = result.has_value(); });
        QVERIFY(comesTrue(scheduler, [&] { return started; }));
        QVERIFY(server.speakInto("headset", sine(997, 48000, 1)));
        QVERIFY(server.finishSpeaking());

        server.unplug("headset");
        const std::size_t before = recorder.sampleCount();
        QVERIFY(comesTrue(scheduler, [&] { return recorder.sampleCount() > before + rate; }));
        QCOMPARE(lost, 0);
        server.unplug("built-in");
        QVERIFY(comesTrue(scheduler, [&] { return lost == 1; }));
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
