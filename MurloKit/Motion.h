#pragma once

namespace murlo {

/// How a value is animated towards its target.
struct Motion {
    enum Kind {
        spring,  ///< a damped spring of unit mass
        easeOut, ///< starts at full speed and comes to rest
        linear,
    };

    Kind kind = spring;
    /// Seconds: the spring's response (the period it would swing with undamped), or the duration.
    double seconds = 0;
    /// Damping fraction of a spring, above 0; 1 does not overshoot.
    double damping = 1;
};

/// A number that moves over time. A spring that is given another target keeps its velocity.
class Animated {
public:
    explicit Animated(double value = 0)
        : m_value(value)
        , m_target(value) {}

    [[nodiscard]] double value() const { return m_value; }
    [[nodiscard]] double target() const { return m_target; }
    /// Units per second.
    [[nodiscard]] double velocity() const { return m_velocity; }
    [[nodiscard]] bool isSettled() const { return m_settled; }

    /// Jumps to the value without animation.
    void jumpTo(double value);
    /// Starts to move to `target`. Does nothing if that is the target already.
    void moveTo(double target, const Motion& motion);
    /// Advances by `seconds` (0 or more). A spring uses the closed-form solution, so the result
    /// does not depend on the step size; it settles once the remaining distance is invisible, where
    /// a distance of 1 counts as the full range.
    void advance(double seconds);

private:
    void advanceSpring(double seconds);

    double m_value;
    double m_target;
    double m_velocity = 0;
    double m_from = 0;    ///< where a timed motion began
    double m_elapsed = 0; ///< of a timed motion
    Motion m_motion;
    bool m_settled = true;
};

} // namespace murlo
