#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "Murlo/platform/linux/pulse/PulseSourceCheck.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeAudioInput.h"
#include "tests/harness/Ear.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"

#include <QElapsedTimer>
#include <QtTest>

#include <array>
#include <ctime>
#include <thread>

using namespace murlo;

namespace {

const QString microphone = "one";
const QString otherMicrophone = "two";
constexpr AudioFormat mono{48000, 1};
constexpr AudioFormat otherFormat{44100, 2};
constexpr AudioFormat none;

/// Audio input, real or fake, and a microphone in front of it.
class World {
public:
    explicit World(bool isReal)
        : m_isThere(!isReal || server.start()) {
        if (isReal) m_real.emplace(m_scheduler, std::make_shared<PulseConnection>());
    }
    AudioInput& input() { return m_real ? static_cast<AudioInput&>(*m_real) : m_fake; }
    [[nodiscard]] bool plug(AudioFormat format) {
        m_fake.plug(format);
        return m_isThere && (!m_real || server.plug(microphone, format));
    }
    void unplug() {
        m_fake.unplug();
        if (m_real) server.unplug(microphone);
    }

    SoundServer server; ///< of the real input

private:
    bool m_isThere;
    QtScheduler m_scheduler;
    FakeAudioInput m_fake{m_scheduler};
    std::optional<PulseAudioInput> m_real;
};

} // namespace

class AudioInputContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// Every case finds a microphone plugged in, and a listener that has not started yet.
    void init() {
        m_world = std::make_unique<World>(QByteArray(QTest::currentDataTag()) != "fake");
        QVERIFY(m_world->plug(mono));
        m_listener = std::make_unique<Listener>(m_world->input());
    }
    void cleanup() {
        m_listener.reset();
        m_world.reset();
    }

    // --- what tests on the fake rely on ---

    void withoutADeviceNothingStarts_data() { addWorlds(); }
    void withoutADeviceNothingStarts() {
        m_world->unplug();
        const auto engine = m_world->input().makeEngine();
        QCOMPARE(engine->inputFormat(), none);
        QVERIFY(!engine->installTap(4096, [](const AudioBuffer&) {}).has_value());
        QVERIFY(!engine->start().has_value());
        engine->removeTap();
        engine->stop();
        // The same engine opens the device that is plugged in later.
        QVERIFY(m_world->plug(otherFormat));
        QCOMPARE(engine->inputFormat(), otherFormat);
    }

    void lossOfTheDeviceIsTold_data() { addWorlds(); }
    void lossOfTheDeviceIsTold() {
        QVERIFY(m_listener->start());
        QCOMPARE(m_listener->changes, 0);
        m_world->unplug();
        QTRY_VERIFY(m_listener->changes > 0);
        QVERIFY(!m_listener->engine->isRunning());
        // An engine that is not flowing has nothing to tell.
        QVERIFY(m_world->plug(mono));
        Listener idle(m_world->input());
        QCOMPARE(idle.engine->inputFormat(), mono);
        m_world->unplug();
        QVERIFY(m_world->plug(mono));
        QTest::qWait(50);
        QCOMPARE(idle.changes, 0);
    }

    void newDefaultInputIsToldToWhoeverStillListens_data() { addWorlds(); }
    void newDefaultInputIsToldToWhoeverStillListens() {
        QCOMPARE(m_world->input().makeEngine()->inputFormat(), mono);
        int told = 0;
        int alsoTold = 0;
        const auto handle = m_world->input().observeDefaultInput([&] { ++told; });
        auto another = m_world->input().observeDefaultInput([&] { ++alsoTold; });
        m_world->unplug();
        QTRY_VERIFY(told > 0 && alsoTold > 0);
        another.reset();
        const int before = told;
        const int alsoBefore = alsoTold;
        QVERIFY(m_world->plug(otherFormat));
        QTRY_VERIFY(told > before);
        QCOMPARE(alsoTold, alsoBefore);
    }

    // --- the real adapter alone ---

    void speechArrivesInTheFormatOfTheDevice_data() {
        QTest::addColumn<AudioFormat>("format");
        for (const AudioFormat format : {AudioFormat{44100, 1}, {44100, 2}, {48000, 1}, {96000, 2}})
            QTest::addRow("%g Hz, %d", format.sampleRate, format.channels) << format;
    }
    void speechArrivesInTheFormatOfTheDevice() {
        QFETCH(const AudioFormat, format);
        const double rate = format.sampleRate;
        m_world->unplug();
        QVERIFY(m_world->plug(format));
        QVERIFY(m_listener->start());
        QCOMPARE(m_listener->engine->inputFormat(), format);
        QVERIFY(m_world->server.speakInto(microphone, sine(1000, rate, 1.0, format.channels)));
        const auto length = [&] { return static_cast<double>(m_listener->ear.speech().size()); };
        QTRY_VERIFY_WITH_TIMEOUT(length() > rate * 0.98, 10000);
        QVERIFY(length() < rate * 1.02);
        const auto speech = m_listener->ear.speech();
        const double amplitude =
            amplitudeOf(1000, std::span(speech).subspan(2000, speech.size() - 4000), rate);
        QVERIFY2(std::abs(amplitude - 0.5) < 0.01, qPrintable(QString::number(amplitude)));
        QVERIFY(m_listener->ear.heard().longest <= Listener::tapFrames);
        QCOMPARE(m_listener->ear.heard().format, format);
    }

    void audioFlowsFromStartToStopOnlyAndIntoTheTapThatIsThere() {
        std::array<Ear, 2> ears;
        const auto engine = m_world->input().makeEngine();
        QCOMPARE(engine->inputFormat(), mono);
        for (Ear& ear : ears) {
            const std::size_t before = ears[0].heard().samples.size();
            QVERIFY(engine->installTap(4096, ear.tap()).has_value());
            QVERIFY(!engine->installTap(4096, ear.tap()).has_value());
            QVERIFY(ear.heard().samples.empty());
            for (int round = 0; round < 2; ++round) {
                QVERIFY(!engine->isRunning());
                QVERIFY(engine->start().has_value());
                QVERIFY(engine->isRunning());
                const std::size_t spoken = ear.speech().size();
                QVERIFY(m_world->server.speakInto(microphone, sine(1000, 48000, 20)));
                QTRY_VERIFY_WITH_TIMEOUT(ear.speech().size() > spoken + 12000, 10000);
                engine->stop();
                const std::size_t heard = ear.heard().samples.size();
                QTest::qWait(100);
                QCOMPARE(ear.heard().samples.size(), heard);
            }
            if (&ear != &ears[0]) QCOMPARE(ears[0].heard().samples.size(), before);
            engine->removeTap();
        }
    }

    void enginesMayBeDestroyedWhileAudioFlows() {
        QVERIFY(m_world->server.speakInto(microphone, sine(1000, 48000, 20)));
        for (int i = 0; i < 50; ++i) {
            Listener listener(m_world->input());
            QVERIFY(listener.start());
            if (i % 2 == 0) listener.engine->removeTap();
            std::thread([&] { listener.engine.reset(); }).join();
        }
    }

    void audioFollowsTheDefaultSource() {
        QVERIFY(m_world->server.plug(otherMicrophone, otherFormat, false));
        QVERIFY(m_listener->start());
        QVERIFY(m_world->server.setDefault(otherMicrophone));
        QTRY_VERIFY(m_listener->changes > 0);
        QVERIFY(m_listener->engine->isRunning());
        QVERIFY(m_world->server.speakInto(otherMicrophone, sine(1000, 44100, 20, 2)));
        QTRY_VERIFY_WITH_TIMEOUT(m_listener->ear.speech().size() > 24000, 10000);
    }

    void whatLoudspeakersPlayIsNoMicrophone() {
        // The server makes a sink up when the last one goes, and falls back to that one's monitor.
        QVERIFY(!m_world->server.pactl("load-module module-always-sink").isEmpty());
        QVERIFY(m_listener->start());
        m_world->unplug();
        QTRY_VERIFY(m_listener->changes > 0);
        QTRY_VERIFY(!m_listener->engine->isRunning());
        QTRY_COMPARE(m_world->server.pactl("get-default-source"), "auto_null.monitor");
        QCOMPARE(m_world->input().makeEngine()->inputFormat(), none);
    }

    void monitorIsAMicrophoneOnlyWhereItStandsForOne() {
        const PulseSource card{1, "card", false, true};
        const PulseSource monitor{2, "card.monitor", true, true};
        const PulseSource virtualMonitor{3, "null.monitor", true, false};
        const PulseSource madeUp{4, "auto_null.monitor", true, false};
        QVERIFY(isMicrophone({card, monitor}, 1, "card.monitor"));
        QVERIFY(!isMicrophone({card, monitor}, 2, "card"));
        QVERIFY(isMicrophone({card, monitor}, 2, "card.monitor")); // chosen: it need not be
        QVERIFY(!isMicrophone({monitor}, 2, "card.monitor"));      // nothing else is there
        QVERIFY(isMicrophone({virtualMonitor}, 3, "null.monitor"));
        QVERIFY(!isMicrophone({card, virtualMonitor}, 3, "card"));
        QVERIFY(!isMicrophone({madeUp}, 4, "auto_null.monitor"));
        QVERIFY(!isMicrophone({card}, 5, "card")); // it is gone
    }

    void suspendedDeviceIsToldAndStartsWhenItIsBack() {
        QVERIFY(m_listener->start());
        const auto suspend = [&](const QString& yes) {
            m_world->server.pactl("suspend-sink " + microphone + yes);
            m_world->server.pactl("suspend-source " + microphone + ".monitor" + yes);
        };
        suspend(" 1");
        QTRY_VERIFY(m_listener->changes > 0);
        QVERIFY(!m_listener->engine->isRunning());
        m_listener->engine->stop();
        QVERIFY(!m_listener->engine->start().has_value());
        suspend(" 0");
        QVERIFY(m_listener->engine->start().has_value());
        QVERIFY(m_listener->engine->isRunning());
    }

    void serverMayDieAndComeBack() {
        int told = 0;
        const auto handle = m_world->input().observeDefaultInput([&] { ++told; });
        QVERIFY(m_listener->start());
        m_world->server.kill();
        QTRY_VERIFY(m_listener->changes > 0);
        QVERIFY(!m_listener->engine->isRunning());
        QCOMPARE(m_listener->engine->inputFormat(), none);
        const int toldBefore = told;
        QVERIFY(m_world->server.start());
        QVERIFY(m_world->plug(otherFormat));
        QTRY_VERIFY_WITH_TIMEOUT(told > toldBefore, 20000);
        QCOMPARE(m_listener->engine->inputFormat(), otherFormat);
        QVERIFY(m_listener->engine->start().has_value());
    }

    void withoutAServerTheAnswerComesAtOnceAndWaitingCostsNothing() {
        cleanup();
        const SoundServer server; // an address where nobody listens
        QtScheduler scheduler;
        PulseAudioInput input(scheduler, std::make_shared<PulseConnection>());
        const auto engine = input.makeEngine();
        QElapsedTimer timer;
        timer.start();
        for (int i = 0; i < 10; ++i) QCOMPARE(engine->inputFormat(), none);
        QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
        const std::clock_t before = std::clock();
        QTest::qWait(1000);
        const double used = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
        QVERIFY2(used < 0.02, qPrintable(QString::number(used)));
    }

private:
    std::unique_ptr<World> m_world;
    std::unique_ptr<Listener> m_listener;
};

QTEST_GUILESS_MAIN(AudioInputContractTest)
#include "AudioInputContractTest.moc"
