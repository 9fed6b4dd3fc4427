#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <span>
#include <vector>

namespace murlo {

/// A sine of the given amplitude on every channel, interleaved.
inline std::vector<float> sine(double frequency, double sampleRate, double seconds,
                               int channels = 1, double amplitude = 0.5) {
    const auto frames = static_cast<std::size_t>(std::llround(seconds * sampleRate));
    std::vector<float> samples;
    samples.reserve(frames * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < frames; ++i) {
        const double phase = 2 * std::numbers::pi * frequency * static_cast<double>(i) / sampleRate;
        for (int channel = 0; channel < channels; ++channel) {
            samples.push_back(static_cast<float>(amplitude * std::sin(phase)));
        }
    }
    return samples;
}

/// The amplitude of the sine of this frequency within `samples` (one channel), seen through a Hann
/// window.
inline double amplitudeOf(double frequency, std::span<const float> samples, double sampleRate) {
    double real = 0;
    double imaginary = 0;
    double window = 0;
    const auto count = static_cast<double>(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double at = static_cast<double>(i);
        const double weight = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * at / count);
        const double phase = 2 * std::numbers::pi * frequency * at / sampleRate;
        real += weight * samples[i] * std::cos(phase);
        imaginary += weight * samples[i] * std::sin(phase);
        window += weight;
    }
    return 2 * std::hypot(real, imaginary) / window;
}

/// The root mean square.
inline double loudness(std::span<const float> samples) {
    double sum = 0;
    for (const float x : samples) sum += static_cast<double>(x) * x;
    return samples.empty() ? 0 : std::sqrt(sum / static_cast<double>(samples.size()));
}

} // namespace murlo
