#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/harness/Ear.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"

#include <QElapsedTimer>
#include <QtTest>

#include <ctime>
#include <thread>

using namespace murlo;

namespace {

const QString microphone = "one";
const QString otherMicrophone = "two";
constexpr std::size_t tapFrames = 4096;

/// Audio input with microphones around it.
class World : public ContractWorld {
public:
    virtual AudioInput& input() = 0;
    /// One microphone is there, and no other.
    virtual bool plug(AudioFormat format) = 0;
    virtual void unplug() = 0;
    /// Begins to say this to the microphone.
    virtual bool speak(const std::vector<float>& interleaved) = 0;

protected:
    AudioFormat m_format;
};

class FakeWorld : public World {
public:
    ~FakeWorld() override { silence(); }
    AudioInput& input() override { return m_input; }
    bool plug(AudioFormat format) override {
        m_input.plug(format);
        return true;
    }
    void unplug() override { m_input.unplug(); }
    bool speak(const std::vector<float>& interleaved) override {
        silence();
        m_speaker = std::thread([this, interleaved] { m_input.speak(interleaved); });
        return true;
    }

private:
    void silence() {
        if (m_speaker.joinable()) m_speaker.join();
    }

    QtScheduler m_scheduler;
    FakeAudioInput m_input{m_scheduler};
    std::thread m_speaker;
};

class RealWorld : public World {
public:
    RealWorld()
        : m_isThere(m_server.start()) {
        m_input.emplace(m_scheduler, makeConnection());
    }
    AudioInput& input() override { return *m_input; }
    bool plug(AudioFormat format) override {
        m_format = format;
        return m_isThere &&
               m_server.plug(microphone, static_cast<int>(format.sampleRate), format.channels);
    }
    void unplug() override { m_server.unplug(microphone); }
    bool speak(const std::vector<float>& interleaved) override {
        return m_server.speakInto(microphone, interleaved, static_cast<int>(m_format.sampleRate),
                                  m_format.channels);
    }
    SoundServer& server() { return m_server; }

private:
    static std::shared_ptr<PulseConnection> makeConnection() {
        return std::make_shared<PulseConnection>();
    }

    SoundServer m_server;
    bool m_isThere;
    QtScheduler m_scheduler;
    std::optional<PulseAudioInput> m_input;
};

std::unique_ptr<World> makeWorld() {
    return makeWorldOfRow<World, FakeWorld, RealWorld>();
}

/// Speaks until the ear has heard something: only then does audio flow for certain.
bool speakUntilHeard(World& world, const Ear& ear, AudioFormat format) {
    const auto said = sine(1000, format.sampleRate, 20, format.channels);
    return world.speak(said) &&
           QTest::qWaitFor([&] { return ear.speech().size() > format.sampleRate / 4; }, 10000);
}

} // namespace

class AudioInputContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void speechArrivesInTheFormatOfTheDevice_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        for (const bool real : {false, true}) {
            for (const int rate : {44100, 48000, 96000}) {
                for (const int channels : {1, 2}) {
                    QTest::addRow("%s, %d Hz, %d", real ? "real" : "fake", rate, channels)
                        << real << rate << channels;
                }
            }
        }
    }
    void speechArrivesInTheFormatOfTheDevice() {
        QFETCH(const int, rate);
        QFETCH(const int, channels);
        const auto world = makeWorld();
        QVERIFY(world->plug({static_cast<double>(rate), channels}));
        Ear ear;
        const auto engine = world->input().makeEngine();
        const AudioFormat format = engine->inputFormat();
        QCOMPARE(format.sampleRate, static_cast<double>(rate));
        QCOMPARE(format.channels, channels);
        QVERIFY(engine->installTap(tapFrames, ear.tap()).has_value());
        QVERIFY(!engine->isRunning());
        QVERIFY(engine->start().has_value());
        QVERIFY(engine->isRunning());

        QVERIFY(world->speak(sine(1000, rate, 1.0, channels)));
        const auto expected = static_cast<double>(rate);
        QTRY_VERIFY_WITH_TIMEOUT(static_cast<double>(ear.speech().size()) > expected * 0.98, 10000);
        const auto speech = ear.speech();
        QVERIFY(static_cast<double>(speech.size()) < expected * 1.02);
        const double amplitude =
            amplitudeOf(1000, std::span(speech).subspan(2000, speech.size() - 4000), rate);
        QVERIFY2(std::abs(amplitude - 0.5) < 0.01, qPrintable(QString::number(amplitude)));
        QVERIFY(ear.longest() <= tapFrames);
        QCOMPARE(ear.format().sampleRate, static_cast<double>(rate));
        QCOMPARE(ear.format().channels, channels);
    }

    void audioFlowsFromStartToStopOnly_data() { addWorlds(); }
    void audioFlowsFromStartToStopOnly() {
        const AudioFormat format{48000, 1};
        const auto world = makeWorld();
        QVERIFY(world->plug(format));
        Ear ear;
        const auto engine = world->input().makeEngine();
        QCOMPARE(engine->inputFormat().channels, 1);
        QVERIFY(engine->installTap(tapFrames, ear.tap()).has_value());
        QVERIFY(!engine->installTap(tapFrames, ear.tap()).has_value());
        QVERIFY(ear.heard().empty());
        for (int round = 0; round < 2; ++round) {
            QVERIFY(engine->start().has_value());
            QVERIFY(speakUntilHeard(*world, ear, format));
            engine->stop();
            QVERIFY(!engine->isRunning());
            const std::size_t heard = ear.heard().size();
            QTest::qWait(100);
            QCOMPARE(ear.heard().size(), heard);
        }
        // A removed tap is not called, and another may follow.
        engine->removeTap();
        Ear another;
        QVERIFY(engine->installTap(tapFrames, another.tap()).has_value());
        const std::size_t heard = ear.heard().size();
        QVERIFY(engine->start().has_value());
        QVERIFY(speakUntilHeard(*world, another, format));
        QCOMPARE(ear.heard().size(), heard);
        engine->removeTap();
    }

    void enginesMayBeDestroyedWhileAudioFlows_data() { addWorlds(); }
    void enginesMayBeDestroyedWhileAudioFlows() {
        const AudioFormat format{48000, 2};
        const auto world = makeWorld();
        QVERIFY(world->plug(format));
        QVERIFY(world->speak(sine(1000, 48000, 20, 2)));
        for (int i = 0; i < 50; ++i) {
            auto ear = std::make_unique<Ear>();
            auto engine = world->input().makeEngine();
            QCOMPARE(engine->inputFormat().channels, 2);
            QVERIFY(engine->installTap(tapFrames, ear->tap()).has_value());
            engine->observeConfigurationChange([] {});
            QVERIFY(engine->start().has_value());
            if (i % 2 == 0) engine->removeTap();
            std::thread([&engine] { engine.reset(); }).join();
            ear.reset();
        }
    }

    void withoutADeviceNothingStarts_data() { addWorlds(); }
    void withoutADeviceNothingStarts() {
        const auto world = makeWorld();
        QVERIFY(world->plug({48000, 1}));
        world->unplug();
        const auto engine = world->input().makeEngine();
        QCOMPARE(engine->inputFormat().sampleRate, 0.0);
        QVERIFY(!engine->installTap(tapFrames, [](const AudioBuffer&) {}).has_value());
        QVERIFY(!engine->start().has_value());
        engine->removeTap();
        engine->stop();
        // The same engine opens the device that is plugged in later.
        QVERIFY(world->plug({44100, 1}));
        QCOMPARE(engine->inputFormat().sampleRate, 44100.0);
    }

    void lossOfTheDeviceIsTold_data() { addWorlds(); }
    void lossOfTheDeviceIsTold() {
        const auto world = makeWorld();
        QVERIFY(world->plug({48000, 1}));
        const auto engine = world->input().makeEngine();
        int changes = 0;
        engine->observeConfigurationChange([&] { ++changes; });
        QCOMPARE(engine->inputFormat().sampleRate, 48000.0);
        QVERIFY(engine->start().has_value());
        QCOMPARE(changes, 0);
        world->unplug();
        QTRY_VERIFY(changes > 0);
        QVERIFY(!engine->isRunning());
        // An engine that is not flowing has nothing to tell.
        QVERIFY(world->plug({48000, 1}));
        const auto idle = world->input().makeEngine();
        idle->observeConfigurationChange([&] { changes = 1000; });
        QCOMPARE(idle->inputFormat().sampleRate, 48000.0);
        world->unplug();
        QVERIFY(world->plug({48000, 1}));
        QTest::qWait(50);
        QVERIFY(changes < 1000);
    }

    void newDefaultInputIsToldToWhoeverStillListens_data() { addWorlds(); }
    void newDefaultInputIsToldToWhoeverStillListens() {
        const auto world = makeWorld();
        QVERIFY(world->plug({48000, 1}));
        QCOMPARE(world->input().makeEngine()->inputFormat().sampleRate, 48000.0);
        int told = 0;
        int alsoTold = 0;
        const auto handle = world->input().observeDefaultInput([&] { ++told; });
        auto another = world->input().observeDefaultInput([&] { ++alsoTold; });
        world->unplug();
        QTRY_VERIFY(told > 0 && alsoTold > 0);
        another.reset();
        const int before = told;
        const int alsoBefore = alsoTold;
        QVERIFY(world->plug({44100, 2}));
        QTRY_VERIFY(told > before);
        QCOMPARE(alsoTold, alsoBefore);
    }

    // --- the real adapter alone ---

    void audioFollowsTheDefaultSource() {
        RealWorld world;
        QVERIFY(world.plug({48000, 1}));
        QVERIFY(world.server().plug(otherMicrophone, 44100, 2, false));
        Ear ear;
        const auto engine = world.input().makeEngine();
        int changes = 0;
        engine->observeConfigurationChange([&] { ++changes; });
        QCOMPARE(engine->inputFormat().sampleRate, 48000.0);
        QVERIFY(engine->installTap(tapFrames, ear.tap()).has_value());
        QVERIFY(engine->start().has_value());
        QVERIFY(world.server().setDefault(otherMicrophone));
        QTRY_VERIFY(changes > 0);
        QVERIFY(engine->isRunning());
        QVERIFY(world.server().speakInto(otherMicrophone, sine(1000, 44100, 20, 2), 44100, 2));
        QTRY_VERIFY_WITH_TIMEOUT(ear.speech().size() > 24000, 10000);
    }

    void whatLoudspeakersPlayIsNoMicrophone() {
        RealWorld world;
        QVERIFY(world.plug({48000, 1}));
        // The server makes a sink up when the last one goes, and falls back to that one's monitor.
        QVERIFY(!world.server().load({"module-always-sink"}).isEmpty());
        const auto engine = world.input().makeEngine();
        int changes = 0;
        engine->observeConfigurationChange([&] { ++changes; });
        QCOMPARE(engine->inputFormat().sampleRate, 48000.0);
        QVERIFY(engine->start().has_value());
        world.unplug();
        QTRY_VERIFY(changes > 0);
        QTRY_VERIFY(!engine->isRunning());
        QTRY_COMPARE(world.server().pactl({"get-default-source"}), "auto_null.monitor");
        QCOMPARE(world.input().makeEngine()->inputFormat().sampleRate, 0.0);
    }

    void suspendedDeviceIsTold() {
        RealWorld world;
        QVERIFY(world.plug({48000, 1}));
        const auto engine = world.input().makeEngine();
        int changes = 0;
        engine->observeConfigurationChange([&] { ++changes; });
        QCOMPARE(engine->inputFormat().sampleRate, 48000.0);
        QVERIFY(engine->start().has_value());
        world.server().pactl({"suspend-sink", microphone, "1"});
        world.server().pactl({"suspend-source", microphone + ".monitor", "1"});
        QTRY_VERIFY(changes > 0);
        QVERIFY(!engine->isRunning());
    }

    void serverMayDieAndComeBack() {
        RealWorld world;
        QVERIFY(world.plug({48000, 1}));
        int told = 0;
        const auto handle = world.input().observeDefaultInput([&] { ++told; });
        const auto engine = world.input().makeEngine();
        int changes = 0;
        engine->observeConfigurationChange([&] { ++changes; });
        QCOMPARE(engine->inputFormat().sampleRate, 48000.0);
        QVERIFY(engine->start().has_value());
        world.server().kill();
        QTRY_VERIFY(changes > 0);
        QVERIFY(!engine->isRunning());
        QCOMPARE(engine->inputFormat().sampleRate, 0.0);
        const int toldBefore = told;
        QVERIFY(world.server().start());
        QVERIFY(world.plug({44100, 1}));
        QTRY_VERIFY_WITH_TIMEOUT(told > toldBefore, 20000);
        QCOMPARE(engine->inputFormat().sampleRate, 44100.0);
        QVERIFY(engine->start().has_value());
    }

    void withoutAServerTheAnswerComesAtOnceAndWaitingCostsNothing() {
        SoundServer server; // an address where nobody listens
        QtScheduler scheduler;
        PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
        const auto engine = input.makeEngine();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 10; ++i) QCOMPARE(engine->inputFormat().sampleRate, 0.0);
        QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
        const std::clock_t before = std::clock();
        QTest::qWait(1000);
        const double used = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
        QVERIFY2(used < 0.02, qPrintable(QString::number(used)));
    }
};

QTEST_GUILESS_MAIN(AudioInputContractTest)
#include "AudioInputContractTest.moc"
