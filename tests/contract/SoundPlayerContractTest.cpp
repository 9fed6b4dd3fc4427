#include "Murlo/dictation/Sounds.h"
#include "Murlo/platform/linux/pulse/PulseAudioInput.h"
#include "Murlo/platform/linux/pulse/PulseSoundPlayer.h"
#include "Murlo/platform/linux/pulse/Tones.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/fakes/FakeSoundPlayer.h"
#include "tests/harness/Ear.h"
#include "tests/harness/Signal.h"
#include "tests/harness/SoundServer.h"

#include <QtTest>

#include <numeric>

using namespace murlo;

namespace {

const QStringList names{"Tink", "Pop", "Bottle", "Basso"};

/// Loudspeakers with a microphone in front of them.
struct Room {
    bool isReady() {
        return starts && listener.start() &&
               QTest::qWaitFor([this] { return !listener.ear.heard().samples.empty(); });
    }
    /// What was heard, once it has been silent for a while.
    std::vector<float> sound() {
        std::size_t before = 0;
        for (int i = 0; i < 30 && (before == 0 || before != listener.ear.speech().size()); ++i) {
            before = listener.ear.speech().size();
            QTest::qWait(300);
        }
        return listener.ear.speech();
    }

    SoundServer server;
    bool starts = server.start() && server.plug("speakers", {toneSampleRate, 1});
    QtScheduler scheduler;
    std::shared_ptr<PulseConnection> connection = std::make_shared<PulseConnection>();
    PulseSoundPlayer player{connection};
    PulseAudioInput input{scheduler, connection};
    Listener listener{input};
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
    void soundIsLoadedOnceAndPlayedSoftly() {
        FakeSoundPlayer player;
        Sounds sounds(player);
        QCOMPARE(player.loads, 0);
        for (Sound* sound : {&sounds.begin, &sounds.confirm, &sounds.cancel, &sounds.error}) {
            sound->play();
            sound->play();
        }
        QCOMPARE(player.loads, 4);
        QCOMPARE(player.played.join(' '), "Tink Tink Pop Pop Bottle Bottle Basso Basso");
        QCOMPARE(player.lastVolume, 0.4);
        player.hasSounds = false;
        Sounds(player).begin.play();
        QCOMPARE(player.played.size(), 8);
    }

    // --- the real adapter ---

    void everySoundIsHeardAndStartsAgainInsteadOfPlayingTwice() {
        for (const QString& name : names) {
            Room room;
            QVERIFY(room.isReady());
            QVERIFY(!room.player.load("Gong"));
            room.player.play("Gong", 1);
            QVERIFY(room.player.load(name));
            for (int i = 0; i < 4; ++i) room.player.play(name, 0.4);
            const float peak = peakOf(room.sound());
            QVERIFY2(peak > 0.18F && peak < 0.22F, qPrintable(name + QString(": %1").arg(peak)));
        }
    }

    void soundsGoUnheardWithoutAServer() {
        Room room;
        QVERIFY(room.isReady());
        room.player.play("Basso", 1);
        room.server.kill();
        for (int i = 0; i < 20; ++i) {
            for (const QString& name : names) room.player.play(name, 1);
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
                auto another = makeTone(other);
                const double energies = loudness(tone) * loudness(another) *
                                        std::sqrt(double(tone.size() * another.size()));
                another.resize(std::max(tone.size(), another.size()));
                const double likeness =
                    std::inner_product(tone.begin(), tone.end(), another.begin(), 0.0) / energies;
                QVERIFY2(std::abs(likeness) < 0.3, qPrintable(QString::number(likeness)));
            }
        }
    }
};

QTEST_GUILESS_MAIN(SoundPlayerContractTest)
#include "SoundPlayerContractTest.moc"
