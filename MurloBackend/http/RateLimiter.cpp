#include "RateLimiter.h"

#include <algorithm>
#include <cmath>

namespace murlo::backend {

namespace {
constexpr double secondsAtOnce = 10;
}

double RateLimiter::level(const Bucket& bucket, Time now) const {
    const double seconds = std::chrono::duration<double>(now - bucket.filled).count();
    return std::min(bucket.tokens + seconds * m_rate, m_rate * secondsAtOnce);
}

std::optional<int> RateLimiter::take(const QByteArray& caller, Time now) {
    if (m_rate <= 0) return std::nullopt;
    const std::lock_guard lock(m_lock);
    if (m_buckets.size() >= m_sweepAt) sweep(now);
    const auto found = m_buckets.constFind(caller);
    const double tokens =
        found == m_buckets.constEnd() ? m_rate * secondsAtOnce : level(found.value(), now);
    if (tokens < 1) {
        m_buckets.insert(caller, {tokens, now});
        return std::max(1, static_cast<int>(std::ceil((1 - tokens) / m_rate)));
    }
    m_buckets.insert(caller, {tokens - 1, now});
    return std::nullopt;
}

void RateLimiter::sweep(Time now) {
    m_buckets.removeIf(
        [&](const auto& entry) { return level(entry.value(), now) >= m_rate * secondsAtOnce; });
    m_sweepAt = std::max<qsizetype>(1024, m_buckets.size() * 2);
}

} // namespace murlo::backend
