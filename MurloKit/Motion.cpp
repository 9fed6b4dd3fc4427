#include "MurloKit/Motion.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace murlo {

namespace {
constexpr double unseen = 0.002;       ///< of a distance
constexpr double unseenSpeed = 0.02;   ///< per second
constexpr double criticalFrom = 0.999; ///< dampings from here on are treated as critical
} // namespace

void Animated::jumpTo(double value) {
    m_value = m_target = value;
    m_velocity = 0;
    m_settled = true;
}

void Animated::moveTo(double target, const Motion& motion) {
    if (target == m_target && (m_settled || motion.kind == m_motion.kind)) return;
    m_target = target;
    m_motion = motion;
    m_from = m_value;
    m_elapsed = 0;
    m_settled = false;
    if (motion.seconds <= 0) jumpTo(target);
}

void Animated::advance(double seconds) {
    if (m_settled || seconds <= 0) return;
    if (m_motion.kind == Motion::spring) {
        advanceSpring(seconds);
        return;
    }
    m_elapsed += seconds;
    const double part = std::min(m_elapsed / m_motion.seconds, 1.0);
    const double way = m_motion.kind == Motion::linear ? part : 1 - std::pow(1 - part, 3);
    const double before = m_value;
    m_value = m_from + (m_target - m_from) * way;
    m_velocity = (m_value - before) / seconds;
    if (part >= 1) jumpTo(m_target);
}

void Animated::advanceSpring(double seconds) {
    // x'' = -k x - c x' with k = (2π / response)² and c = 4π damping / response, x from the target.
    const double omega = 2 * std::numbers::pi / m_motion.seconds;
    const double zeta = m_motion.damping;
    const double x = m_value - m_target;
    const double v = m_velocity;
    double left = 0;
    if (zeta < criticalFrom) {
        const double decay = std::exp(-zeta * omega * seconds);
        const double damped = omega * std::sqrt(1 - zeta * zeta);
        const double sine = std::sin(damped * seconds);
        const double cosine = std::cos(damped * seconds);
        const double b = (v + zeta * omega * x) / damped;
        left = decay * (x * cosine + b * sine);
        m_velocity =
            decay * (damped * (b * cosine - x * sine) - zeta * omega * (x * cosine + b * sine));
    } else {
        const double decay = std::exp(-omega * seconds);
        const double b = v + omega * x;
        left = decay * (x + b * seconds);
        m_velocity = decay * (b - omega * (x + b * seconds));
    }
    m_value = m_target + left;
    if (std::abs(left) < unseen && std::abs(m_velocity) < unseenSpeed) jumpTo(m_target);
}

} // namespace murlo
