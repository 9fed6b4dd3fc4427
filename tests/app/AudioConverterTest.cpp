#include "dictation/recording/AudioConverter.h"
#include "tests/harness/Signal.h"

#include <QtTest>

#include <limits>

using namespace murlo;

namespace {

constexpr double target = AudioConverter::targetSampleRate;

/// The whole stream converted, handed over in pieces of `piece` frames.
std::vector<float> converted(const std::vector<float>& interleaved, AudioFormat format,
                             std::size_t piece) {
    const auto converter = AudioConverter::make(format);
    const auto channels = static_cast<std::size_t>(format.channels);
    std::vector<float> result;
    for (std::size_t at = 0; at < interleaved.size() / channels; at += piece) {
        const std::size_t frames = std::min(piece, interleaved.size() / channels - at);
        const auto part = converter->convert({interleaved.data() + at * channels, frames, format});
        result.insert(result.end(), part->begin(), part->end());
    }
    const auto rest = converter->flush();
    result.insert(result.end(), rest->begin(), rest->end());
    return result;
}

} // namespace

class AudioConverterTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void speechKeepsItsPitchItsLoudnessAndItsPlaceInTime() {
        for (const double rate : {8000.0, 16000.0, 44100.0, 48000.0, 96000.0}) {
            for (const int channels : {1, 2, 6}) {
                for (const double frequency : {120.0, 1000.0, 3300.0}) {
                    const auto input = sine(frequency, rate, 1.0, channels);
                    const auto output = converted(input, {rate, channels}, 441);
                    QCOMPARE(output.size(), std::size_t{16000});
                    // Against the sine itself, so that a shift in time shows too; the stream's
                    // first and last moments aside, where it jumps.
                    const auto ideal = sine(frequency, target, 1.0);
                    double worst = 0;
                    for (std::size_t i = 400; i < 15600; ++i)
                        worst = std::max(worst, std::abs(double{output[i]} - ideal[i]));
                    const auto place = QString("%1 Hz at %2 Hz").arg(frequency).arg(rate);
                    QVERIFY2(worst < 0.001, qPrintable(place));
                }
            }
        }
    }

    void piecesOfAnySizeYieldTheSameAudio() {
        for (const double rate : {44100.0, 48000.0}) {
            const auto input = sine(440, rate, 1.5);
            const auto whole = converted(input, {rate, 1}, input.size());
            for (const std::size_t piece : {1, 7, 480, 4096, 20000})
                QCOMPARE(converted(input, {rate, 1}, piece), whole);
        }
    }

    void lastMomentBeforeTheEndIsKept() {
        auto input = std::vector<float>(48000, 0.0F);
        const auto word = sine(1000, 48000, 0.02);
        std::copy(word.begin(), word.end(), input.end() - static_cast<qsizetype>(word.size()));
        const auto output = converted(input, {48000, 1}, 480);
        const auto end = std::span<const float>(output).last(320);
        QVERIFY2(loudness(end) > 0.33, qPrintable(QString::number(loudness(end))));
    }

    void whatIsTooHighIsRemovedNotFolded() {
        for (const double rate : {44100.0, 48000.0, 96000.0}) {
            for (const double frequency : {8600.0, 12000.0, 15000.0, 20000.0}) {
                const auto output = converted(sine(frequency, rate, 1.0), {rate, 1}, 4096);
                const double rest = loudness(std::span(output).subspan(2000, 12000));
                QVERIFY2(rest < 1e-5, qPrintable(QString("%1 at %2 Hz").arg(rest).arg(frequency)));
            }
        }
    }

    void channelsAreAveraged() {
        std::vector<float> input;
        for (int i = 0; i < 16000; ++i) input.insert(input.end(), {0.6F, -0.2F});
        const auto output = converted(input, {16000, 2}, 1000);
        QVERIFY(std::abs(output[8000] - 0.2F) < 1e-4);
    }

    void formatsWithoutMeaningAndBuffersInOthersAreRefused() {
        const double infinite = std::numeric_limits<double>::infinity();
        for (const auto& format : {AudioFormat{0, 1}, {-48000, 1}, {infinite, 1}, {48000, 0}})
            QVERIFY(AudioConverter::make(format) == nullptr);
        const auto converter = AudioConverter::make({48000, 1});
        const auto input = sine(1000, 48000, 1.0);
        QVERIFY(!converter->convert({input.data(), 480, {48000, 2}}).has_value());
        QVERIFY(converter->convert({input.data(), 48000, {48000, 1}})->size() > 15000); // goes on
    }
};

QTEST_GUILESS_MAIN(AudioConverterTest)
#include "AudioConverterTest.moc"
