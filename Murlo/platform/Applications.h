#pragma once

#include <QString>

#include <optional>

namespace murlo {

/// The running applications of this desktop session. Main thread; never waits for one of them.
class Applications {
public:
    Applications() = default;
    Applications(const Applications&) = delete;
    Applications& operator=(const Applications&) = delete;
    virtual ~Applications() = default;

    /// Process that owns the active window.
    [[nodiscard]] virtual std::optional<qint64> frontmostPid() const = 0;
    /// The identifier under which the desktop knows the application of a process (its desktop
    /// file's name without ".desktop").
    [[nodiscard]] virtual std::optional<QString> identifier(qint64 pid) const = 0;
    /// The application's name for the user.
    [[nodiscard]] virtual std::optional<QString> name(qint64 pid) const = 0;
    /// Brings the application's window to the front.
    virtual void activate(qint64 pid) = 0;
};

} // namespace murlo
