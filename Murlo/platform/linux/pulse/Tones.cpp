#include "platform/linux/pulse/Tones.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace murlo {

namespace {

/// One sine of a tone, with a short attack and an exponential decay; frequencies in hertz, times in
/// seconds.
struct Partial {
    double start;     ///< onset
    double frequency; ///< initial frequency
    double glideTo;   ///< frequency that it approaches exponentially
    double glideTime; ///< time constant of the glide
    double amplitude;
    double attack; ///< duration of the rise, half a cosine to avoid a click
    double decay;  ///< time constant of the decay
};

struct Tone {
    double length; ///< seconds
    std::vector<Partial> partials;
};

std::vector<Partial> note(double start, double frequency, double attack, double decay) {
    // On small speakers only the overtones of low notes are audible.
    return {{start, frequency, frequency, 1, 1.0, attack, decay},
            {start, 2 * frequency, 2 * frequency, 1, 0.5, attack, decay * 0.8},
            {start, 3 * frequency, 3 * frequency, 1, 0.3, attack, decay * 0.6},
            {start, 5 * frequency, 5 * frequency, 1, 0.1, attack, decay * 0.4}};
}

Tone toneNamed(const QString& name) {
    if (name == QLatin1String("Tink")) {
        // A bell's upper partials are inharmonic and decay first (those of a free bar: 2.76, 5.40).
        return {0.32,
                {{0, 1318.5, 1318.5, 1, 1.0, 0.004, 0.070},
                 {0, 2.76 * 1318.5, 2.76 * 1318.5, 1, 0.22, 0.003, 0.028},
                 {0, 5.40 * 1318.5, 5.40 * 1318.5, 1, 0.05, 0.002, 0.010}}};
    }
    if (name == QLatin1String("Pop")) {
        return {
            0.18,
            {{0, 392, 784, 0.030, 1.0, 0.006, 0.032}, {0, 784, 1568, 0.030, 0.18, 0.006, 0.020}}};
    }
    if (name == QLatin1String("Bottle")) {
        return {0.42,
                {{0, 415.3, 329.6, 0.120, 1.0, 0.018, 0.085},
                 {0, 830.6, 659.3, 0.120, 0.25, 0.018, 0.060},
                 {0, 1245.9, 988.9, 0.120, 0.08, 0.012, 0.030}}};
    }
    if (name == QLatin1String("Basso")) {
        Tone tone{0.52, note(0, 220, 0.010, 0.060)};
        const auto second = note(0.15, 174.6, 0.010, 0.090);
        tone.partials.insert(tone.partials.end(), second.begin(), second.end());
        return tone;
    }
    return {};
}

void add(const Partial& partial, std::vector<float>& to) {
    const auto first = static_cast<std::size_t>(partial.start * toneSampleRate);
    double phase = 0;
    for (std::size_t i = first; i < to.size(); ++i) {
        const double t = static_cast<double>(i - first) / toneSampleRate;
        const double rise =
            t < partial.attack ? 0.5 - 0.5 * std::cos(std::numbers::pi * t / partial.attack) : 1;
        to[i] += static_cast<float>(partial.amplitude * rise * std::exp(-t / partial.decay) *
                                    std::sin(phase));
        const double left = std::exp(-t / partial.glideTime);
        const double frequency = partial.glideTo + (partial.frequency - partial.glideTo) * left;
        phase += 2 * std::numbers::pi * frequency / toneSampleRate;
    }
}

} // namespace

std::vector<float> makeTone(const QString& name) {
    constexpr float peak = 0.5F;
    constexpr double fadeOut = 0.03; // seconds
    const Tone tone = toneNamed(name);
    std::vector<float> samples(static_cast<std::size_t>(tone.length * toneSampleRate));
    if (samples.empty()) return samples;

    for (const Partial& partial : tone.partials) add(partial, samples);
    const auto faded = static_cast<std::size_t>(fadeOut * toneSampleRate);
    for (std::size_t i = 0; i < faded; ++i) {
        samples[samples.size() - 1 - i] *= static_cast<float>(i) / static_cast<float>(faded);
    }
    const auto [lowest, highest] = std::ranges::minmax(samples);
    const float scale = peak / std::max(-lowest, highest);
    for (float& sample : samples) sample *= scale;
    return samples;
}

} // namespace murlo
