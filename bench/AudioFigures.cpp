#include "Figures.h"
#include "MurloKit/WavWriter.h"
#include "dictation/recording/AudioConverter.h"

#include <soxr.h>

#include <cmath>
#include <cstring>
#include <vector>

namespace murlo {

namespace {

constexpr int clipSeconds = 300;
constexpr int clipRate = AudioConverter::targetSampleRate;
constexpr std::size_t pieceFrames = 480; // 10 ms, as a sound server hands it over

std::vector<float> tone(int rate, int length) {
    std::vector<float> samples(static_cast<std::size_t>(rate) * static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        samples[i] = 0.5F * std::sin(static_cast<float>(i % 4800) * 0.05F);
    }
    return samples;
}

} // namespace

QList<Figure> audioFigures() {
    progress(QStringLiteral("resampling and encoding of 300 s"));
    const std::vector<float> input = tone(48000, clipSeconds);
    const double ours = timed(5, [&input] {
        const auto converter = AudioConverter::make({48000, 1});
        for (std::size_t at = 0; at < input.size(); at += pieceFrames) {
            (void)converter->convert({input.data() + at, pieceFrames, {48000, 1}});
        }
        (void)converter->flush();
    });
    const double bare = timed(5, [&input] {
        std::vector<float> output(input.size() / 3 + 1000);
        soxr_t resampler = soxr_create(48000, clipRate, 1, nullptr, nullptr, nullptr, nullptr);
        std::size_t at = 0;
        std::size_t written = 0;
        std::size_t done = 1;
        while (at < input.size() || done > 0) { // at the end what is still inside comes out
            const bool ends = at >= input.size();
            soxr_process(resampler, ends ? nullptr : input.data() + at, ends ? 0 : pieceFrames,
                         nullptr, output.data() + written, output.size() - written, &done);
            at += pieceFrames;
            written += done;
        }
        soxr_delete(resampler);
    });

    const std::vector<float> clip = tone(clipRate, clipSeconds);
    qsizetype bytes = 0;
    const double encoding = timed(9, [&] { bytes = WavWriter::data(clip, clipRate).size(); });
    const QByteArray source(bytes, 'x');
    const double copying = timed(9, [&] {
        QByteArray copy(source.size(), Qt::Uninitialized);
        std::memcpy(copy.data(), source.constData(), static_cast<std::size_t>(source.size()));
        if (copy.at(0) != 'x') qFatal("unreachable");
    });
    return {{QStringLiteral("resampling 300 s of 48 kHz in 10 ms pieces"), ours * 1000,
             QStringLiteral("ms"), bare * 1000,
             QStringLiteral("the bare library in the same pieces")},
            {QStringLiteral("WAV encoding of 300 s"), encoding * 1000, QStringLiteral("ms"),
             copying * 1000, QStringLiteral("a copy of the same bytes")}};
}

} // namespace murlo
