#include "Murlo/dictation/Sounds.h"
#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "Murlo/platform/linux/pulse/PulseSoundPlayer.h"
#include "Murlo/platform/linux/pulse/Tones.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeSoundPlayer.h"
#include "tests/harness/Ear.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"

#include <QtTest>

using namespace murlo;

namespace {

const QStringList names{"Tink", "Pop", "Bottle", "Basso"};

/// A sound player and whoever hears it.
class World : public ContractWorld {
public:
    virtual bool isReady() = 0;
    virtual SoundPlayer& player() = 0;
    virtual bool hasHeardSomething() = 0;
};

class FakeWorld : public World {
public:
    bool isReady() override { return true; }
    SoundPlayer& player() override { return m_player; }
    bool hasHeardSomething() override { return !m_player.played.isEmpty(); }

private:
    FakeSoundPlayer m_player;
};

/// Loudspeakers with a microphone in front of them.
class RealWorld : public World {
public:
    bool isReady() override {
        if (!m_server.start() || !m_server.plug("speakers", toneSampleRate, 1)) {
            return false;
        }
        m_connection = std::make_shared<PulseConnection>();
        m_player = std::make_unique<PulseSoundPlayer>(m_connection);
        m_input = std::make_unique<PulseAudioInput>(m_scheduler, m_connection);
        m_engine = m_input->makeEngine();
        return m_engine->inputFormat().sampleRate == toneSampleRate &&
               m_engine->installTap(4096, m_ear.tap()).has_value() &&
               m_engine->start().has_value() &&
               QTest::qWaitFor([this] { return !m_ear.heard().empty(); });
    }
    SoundPlayer& player() override { return *m_player; }
    bool hasHeardSomething() override { return !m_ear.speech().empty(); }

    /// What was heard, once it has been silent for a while.
    std::vector<float> sound() {
        std::size_t before = 0;
        for (int i = 0; i < 30 && (before == 0 || before != m_ear.speech().size()); ++i) {
            before = m_ear.speech().size();
            QTest::qWait(300);
        }
        return m_ear.speech();
    }
    SoundServer& server() { return m_server; }

private:
    SoundServer m_server;
    QtScheduler m_scheduler;
    std::shared_ptr<PulseConnection> m_connection;
    std::unique_ptr<PulseSoundPlayer> m_player;
    std::unique_ptr<PulseAudioInput> m_input;
    Ear m_ear;
    std::shared_ptr<AudioEngine> m_engine;
};

float peakOf(const std::vector<float>& samples) {
    float peak = 0;
    for (const float x : samples) peak = std::max(peak, std::abs(x));
    return peak;
}

} // namespace

class SoundPlayerContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everySoundOfADictationIsHeard_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<QString>("name");
        for (const bool real : {false, true}) {
            for (const QString& name : names) {
                QTest::addRow("%s %s", real ? "real" : "fake", qPrintable(name)) << real << name;
            }
        }
    }
    void everySoundOfADictationIsHeard() {
        QFETCH(const QString, name);
        const auto world = makeWorldOfRow<World, FakeWorld, RealWorld>();
        QVERIFY(world->isReady());
        QVERIFY(!world->player().load("Gong"));
        world->player().play("Gong", 1);
        QVERIFY(world->player().load(name));
        QVERIFY(!world->hasHeardSomething());
        world->player().play(name, 0.4);
        QTRY_VERIFY(world->hasHeardSomething());
    }

    void soundIsLoadedOnceAndPlayedSoftly() {
        FakeSoundPlayer player;
        Sounds sounds(player);
        QCOMPARE(player.loads, 0);
        for (Sound* sound : {&sounds.begin, &sounds.confirm, &sounds.cancel, &sounds.error}) {
            sound->play();
            sound->play();
        }
        QCOMPARE(player.loads, 4);
        QCOMPARE(player.played.join(QLatin1Char(' ')),
                 "Tink Tink Pop Pop Bottle Bottle Basso Basso");
        QCOMPARE(player.lastVolume, 0.4);
        player.known.clear();
        Sounds absent(player);
        absent.begin.play();
        QCOMPARE(player.played.size(), 8);
    }

    // --- the real adapter alone ---

    void soundStartsAgainInsteadOfPlayingTwice() {
        RealWorld world;
        QVERIFY(world.isReady());
        for (int i = 0; i < 4; ++i) world.player().play("Bottle", 0.4);
        const auto heard = world.sound();
        const float peak = peakOf(heard);
        QVERIFY2(peak > 0.18F && peak < 0.22F, qPrintable(QString::number(peak)));
    }

    void soundsGoUnheardWithoutAServer() {
        RealWorld world;
        QVERIFY(world.isReady());
        world.player().play("Basso", 1);
        world.server().kill();
        for (int i = 0; i < 20; ++i) {
            for (const QString& name : names) world.player().play(name, 1);
            QTest::qWait(5);
        }
    }

    void tonesAreShortSoftAndUnlikeEachOther() {
        for (const QString& name : names) {
            const auto tone = makeTone(name);
            const double seconds = static_cast<double>(tone.size()) / toneSampleRate;
            QVERIFY(seconds > 0.1 && seconds < 0.6);
            QVERIFY(std::abs(peakOf(tone) - 0.5F) < 1e-3F);
            // From silence to silence, without a click.
            QVERIFY(loudness(std::span(tone).first(24)) < 0.1);
            QVERIFY(std::abs(tone.back()) < 1e-4F);
            for (const QString& other : names) {
                if (other == name) continue;
                const auto another = makeTone(other);
                double product = 0;
                for (std::size_t i = 0; i < std::min(tone.size(), another.size()); ++i) {
                    product += static_cast<double>(tone[i]) * another[i];
                }
                const double likeness =
                    product / (loudness(tone) * loudness(another) *
                               std::sqrt(static_cast<double>(tone.size() * another.size())));
                QVERIFY2(std::abs(likeness) < 0.3, qPrintable(QString::number(likeness)));
            }
        }
    }
};

QTEST_GUILESS_MAIN(SoundPlayerContractTest)
#include "SoundPlayerContractTest.moc"
