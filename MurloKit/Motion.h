#pragma once

namespace murlo {

/// How a value moves to where it is wanted.
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

    /// Is there at once.
    void jumpTo(double value);
    /// Sets off for `target`. Nothing changes when it is on its way there already.
    void moveTo(double target, const Motion& motion);
    /// Lets `seconds` (0 or more) pass. A spring follows its closed solution, so the result does
    /// not depend on how the time is cut; it settles once what is left would not be seen, taking 1
    /// as the smallest distance that matters at full strength.
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
