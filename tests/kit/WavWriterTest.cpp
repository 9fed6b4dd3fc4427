#include "MurloKit/WavWriter.h"

#include <QtEndian>
#include <QtTest>

#include <limits>
#include <vector>

using namespace murlo;

class WavWriterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void samplesAreLimitedScaledAndTruncatedAndTheClipIsThisToTheByte() {
        constexpr float step = 0.9999F / 32767;
        constexpr float infinite = std::numeric_limits<float>::infinity();
        constexpr float none = std::numeric_limits<float>::quiet_NaN();
        const std::vector samples{0.0F,  0.5F, -0.25F, 1.5F,     -2.0F,
                                  -1.0F, step, -step,  infinite, none};
        const QByteArray expected =
            QByteArray::fromHex("52494646 38000000 57415645" // RIFF, size, WAVE
                                "666d7420 10000000 0100 0100 803e0000 007d0000 0200 1000" // fmt
                                "64617461 14000000"                                       // data
                                "0000 ff3f 01e0 ff7f 0180 0180 0000 0000 ff7f 0000");
        QCOMPARE(WavWriter::data(samples, 16000), expected);
    }

    /// Every sample comes out at its own place, whatever the length is a multiple of.
    void everyLengthKeepsEverySample() {
        std::vector<float> samples;
        for (std::size_t count = 0; count < 300; ++count) {
            const QByteArray clip = WavWriter::data(samples, 44100);
            QCOMPARE(clip.size(), static_cast<qsizetype>(44 + 2 * count));
            QCOMPARE(qFromLittleEndian<quint32>(clip.constData() + 4), 36 + 2 * count);
            QCOMPARE(qFromLittleEndian<quint32>(clip.constData() + 40), 2 * count);
            for (std::size_t i = 0; i < count; ++i) {
                const auto sample = qFromLittleEndian<qint16>(clip.constData() + 44 + 2 * i);
                QCOMPARE(int{sample}, static_cast<int>(samples[i] * 32767));
            }
            samples.push_back(static_cast<float>(count % 256) / 128 - 1);
        }
    }
};

QTEST_GUILESS_MAIN(WavWriterTest)
#include "WavWriterTest.moc"
