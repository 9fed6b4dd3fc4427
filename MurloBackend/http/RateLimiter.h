#pragma once

#include <QByteArray>
#include <QHash>

#include <chrono>
#include <mutex>
#include <optional>

namespace murlo::backend {

/// A token bucket for each of many callers: a steady rate, and ten seconds' worth of it at once.
class RateLimiter {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// `perSecond` requests of each caller; 0 limits nothing.
    explicit RateLimiter(int perSecond)
        : m_rate(perSecond) {}

    /// Takes a request of the caller into account. Nothing if it may be answered, else after how
    /// many seconds (at least 1) it may come again. Any thread.
    [[nodiscard]] std::optional<int> take(const QByteArray& caller, Time now);

private:
    struct Bucket {
        double tokens;
        Time filled;
    };
    /// Forgets the callers whose buckets are full again.
    void sweep(Time now);
    [[nodiscard]] double level(const Bucket& bucket, Time now) const;

    double m_rate;
    std::mutex m_lock;
    QHash<QByteArray, Bucket> m_buckets;
    qsizetype m_sweepAt = 1024; ///< callers
};

} // namespace murlo::backend
