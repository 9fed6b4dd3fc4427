#include "MurloKit/WavWriter.h"

#include <QtEndian>
#include <QtTest>

#include <limits>
#include <vector>

using namespace murlo;

class WavWriterTest : public QObject {
    Q_OBJECT

private:
    static qint16 sampleAt(const QByteArray& clip, std::size_t index) {
        return qFromLittleEndian<qint16>(clip.constData() + 44 + 2 * index);
    }

private Q_SLOTS:
    void clipOfThreeSamplesIsThisToTheByte() {
        const std::vector<float> samples{0.0F, 0.5F, -0.25F};
        const QByteArray expected =
            QByteArray::fromHex("52494646 2a000000 57415645" // RIFF, size, WAVE
                                "666d7420 10000000 0100 0100 803e0000 007d0000 0200 1000" // fmt
                                "64617461 06000000 0000 ff3f 01e0");                      // data
        QCOMPARE(WavWriter::data(samples, 16000), expected);
    }

    void samplesAreLimitedScaledAndTruncated_data() {
        QTest::addColumn<float>("sample");
        QTest::addColumn<int>("integer");
        QTest::newRow("above full scale") << 1.5F << 32767;
        QTest::newRow("below full scale") << -2.0F << -32767;
        QTest::newRow("full scale") << -1.0F << -32767;
        QTest::newRow("truncated down to zero") << 0.9999F / 32767 << 0;
        QTest::newRow("truncated up to zero") << -0.9999F / 32767 << 0;
        QTest::newRow("half") << 0.5F << 16383;
        QTest::newRow("infinite") << std::numeric_limits<float>::infinity() << 32767;
        QTest::newRow("not a number") << std::numeric_limits<float>::quiet_NaN() << 0;
    }
    void samplesAreLimitedScaledAndTruncated() {
        QFETCH(const float, sample);
        const std::vector<float> one{sample};
        QTEST(static_cast<int>(sampleAt(WavWriter::data(one, 16000), 0)), "integer");
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
                QCOMPARE(int{sampleAt(clip, i)}, static_cast<int>(samples[i] * 32767));
            }
            samples.push_back(static_cast<float>(count % 256) / 128 - 1);
        }
    }
};

QTEST_GUILESS_MAIN(WavWriterTest)
#include "WavWriterTest.moc"
