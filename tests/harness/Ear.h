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
    [[nodiscard]] AudioEngine::Tap tap() {
        return [this](const AudioBuffer& buffer) {
            const std::lock_guard guard(m_lock);
            m_longest = std::max(m_longest, buffer.frames);
            m_format = buffer.format;
            const auto channels = static_cast<std::size_t>(buffer.format.channels);
            for (std::size_t i = 0; i < buffer.frames; ++i) {
                m_heard.push_back(buffer.samples[i * channels]);
            }
        };
    }
    [[nodiscard]] std::vector<float> heard() const {
        const std::lock_guard guard(m_lock);
        return m_heard;
    }
    /// The part of what was heard that is not silence.
    [[nodiscard]] std::vector<float> speech() const {
        const auto isLoud = [](float x) { return std::abs(x) > 0.01F; };
        const auto all = heard();
        const auto first = std::find_if(all.begin(), all.end(), isLoud);
        const auto last = std::find_if(all.rbegin(), std::make_reverse_iterator(first), isLoud);
        return {first, last.base()};
    }
    [[nodiscard]] std::size_t longest() const {
        const std::lock_guard guard(m_lock);
        return m_longest;
    }
    [[nodiscard]] AudioFormat format() const {
        const std::lock_guard guard(m_lock);
        return m_format;
    }

private:
    mutable std::mutex m_lock;
    std::vector<float> m_heard;
    std::size_t m_longest = 0;
    AudioFormat m_format;
};

} // namespace murlo
