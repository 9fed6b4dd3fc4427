#pragma once

#include <mutex>
#include <span>
#include <utility>
#include <vector>

namespace murlo {

/// The growing audio of one recording: written by the audio thread, read by the main thread. The
/// lock is held for no more than a copy.
class SampleStore {
public:
    /// Address space for `expected` samples is set aside now, so that `append` hardly ever moves
    /// what is there; memory is taken only as it is written.
    explicit SampleStore(std::size_t expected) { m_samples.reserve(expected); }

    /// Adds captured audio at the end.
    void append(std::span<const float> samples) {
        const std::lock_guard guard(m_lock);
        m_samples.insert(m_samples.end(), samples.begin(), samples.end());
    }

    [[nodiscard]] std::size_t count() const {
        const std::lock_guard guard(m_lock);
        return m_samples.size();
    }

    /// A copy of the last `most` samples, or of all when there are no more than that.
    [[nodiscard]] std::vector<float> last(std::size_t most) const {
        std::vector<float> copy;
        const std::lock_guard guard(m_lock);
        const auto tail = std::span(m_samples).last(std::min(most, m_samples.size()));
        copy.assign(tail.begin(), tail.end());
        return copy;
    }

    /// All samples; the store is empty afterwards.
    [[nodiscard]] std::vector<float> takeAll() {
        const std::lock_guard guard(m_lock);
        return std::exchange(m_samples, {});
    }

private:
    mutable std::mutex m_lock;
    std::vector<float> m_samples;
};

} // namespace murlo
