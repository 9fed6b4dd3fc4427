#pragma once

#include <QByteArray>

#include <span>

namespace murlo {

/// Encodes captured audio as a WAV clip.
class WavWriter {
public:
    /// A canonical RIFF/WAVE clip: the 44-byte header of one-channel 16-bit integer PCM and the
    /// samples, all little-endian. A sample is limited to -1…1, multiplied by 32767 and truncated
    /// towards zero; one that is not a number becomes silence. What the header's 32-bit lengths
    /// cannot hold (more than 37 hours at 16 kHz) is left off the end. `sampleRate` is in samples
    /// per second, above 0. Any thread.
    [[nodiscard]] static QByteArray data(std::span<const float> samples, int sampleRate);
};

} // namespace murlo
