#pragma once

#include "platform/AudioEngine.h"
#include "platform/Port.h"

#include <QString>

#include <memory>
#include <span>
#include <tl/expected.hpp>
#include <vector>

struct soxr;

namespace murlo {

/// Converts one stream of hardware audio to the capture format, piece by piece: one channel (the
/// mean of the hardware's), 16 000 samples per second. The pieces may have any size: the output is
/// that of the whole stream in one piece, and after `flush` it is as long and in step with the
/// input. One thread at a time.
///
/// The resampler is soxr at its high quality: flat to 7.5 kHz, aliases below -140 dB, 0.1 s of work
/// for 300 s of 48 kHz, which was a tenth of libsamplerate's fastest sinc converter and a third of
/// speexdsp at quality 6. Up to 0.1 s of audio is on its way inside.
class AudioConverter : NonCopyable {
public:
    /// Samples per second of the capture format: what the speech engine expects.
    static constexpr int targetSampleRate = 16000;

    /// Nothing when audio of this format cannot be converted.
    [[nodiscard]] static std::unique_ptr<AudioConverter> make(const AudioFormat& from);
    ~AudioConverter();

    /// The capture-format audio that this piece of input yields (it may be none); valid until the
    /// next call. The error says why the piece was refused.
    [[nodiscard]] tl::expected<std::span<const float>, QString> convert(const AudioBuffer& buffer);

    /// The rest of the audio, at the end of the stream; valid as above. No `convert` follows.
    [[nodiscard]] tl::expected<std::span<const float>, QString> flush();

private:
    AudioConverter(const AudioFormat& from, ::soxr* resampler);
    [[nodiscard]] tl::expected<std::size_t, QString> process(const float* input, std::size_t frames,
                                                             std::size_t at);
    void mixDown(const AudioBuffer& buffer);

    AudioFormat m_from;
    ::soxr* m_resampler;
    std::vector<float> m_mono;
    std::vector<float> m_output;
};

} // namespace murlo
