#pragma once

#include "platform/AudioEngine.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <mutex>
#include <vector>

namespace murlo {

/// Keeps the first channel of what a tap hears.
class Ear {
public:
    struct Heard {
        std::vector<float> samples;
        std::size_t longest = 0; ///< frames of a buffer
        AudioFormat format;      ///< of the last buffer
    };

    [[nodiscard]] AudioEngine::Tap tap() {
        return [this](const AudioBuffer& buffer) {
            const std::lock_guard guard(m_lock);
            m_heard.longest = std::max(m_heard.longest, buffer.frames);
            m_heard.format = buffer.format;
            const auto channels = static_cast<std::size_t>(buffer.format.channels);
            for (std::size_t i = 0; i < buffer.frames; ++i)
                m_heard.samples.push_back(buffer.samples[i * channels]);
        };
    }
    [[nodiscard]] Heard heard() const {
        const std::lock_guard guard(m_lock);
        return m_heard;
    }
    /// The part of what was heard that is not silence.
    [[nodiscard]] std::vector<float> speech() const {
        const auto isLoud = [](float x) { return std::abs(x) > 0.01F; };
        const auto all = heard().samples;
        const auto first = std::find_if(all.begin(), all.end(), isLoud);
        const auto last = std::find_if(all.rbegin(), std::make_reverse_iterator(first), isLoud);
        return {first, last.base()};
    }

private:
    mutable std::mutex m_lock;
    Heard m_heard;
};

/// An engine with an ear at its tap, which counts the changes that it tells of.
struct Listener {
    static constexpr std::size_t tapFrames = 4096;

    explicit Listener(AudioInput& input)
        : engine(input.makeEngine()) {
        engine->observeConfigurationChange([this] { ++changes; });
    }
    /// Opens the device and lets its audio flow; false when that failed.
    [[nodiscard]] bool start() {
        return engine->inputFormat().channels > 0 &&
               engine->installTap(tapFrames, ear.tap()).has_value() && engine->start().has_value();
    }

    Ear ear;
    int changes = 0;
    std::shared_ptr<AudioEngine> engine;
};

} // namespace murlo
