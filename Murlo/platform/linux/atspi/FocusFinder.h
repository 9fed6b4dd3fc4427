#pragma once

#include "AtspiBus.h"

namespace murlo {

/// Searches for the focus where no event reported it: the active window among all programs, and the
/// focused object inside a window. Main thread; nothing blocks, and a hung program delays no other.
/// It must live as long as the bus.
class FocusFinder {
public:
    FocusFinder(Scheduler& scheduler, AtspiBus& bus)
        : m_scheduler(scheduler)
        , m_bus(bus) {}

    using Found = std::function<void(const AtspiReference&)>;
    /// Calls `found` for every window that reports the state "active".
    void findActiveWindows(Found found);

    /// The same for the windows of one program, whose root object is `application`.
    void findActiveWindow(const AtspiReference& application, const Found& found);

    enum class Wanted { anything, text };
    /// Calls `found` with the focused object inside `window`, if there is one and while `wanted`
    /// holds: of several the first that takes text, else, if `what` is not text, the innermost.
    /// Searches the showing objects breadth-first, tables excluded.
    void findFocus(const AtspiReference& window, Wanted what, std::function<bool()> wanted,
                   Found found);

private:
    struct Descent {
        Wanted what;
        std::function<bool()> wanted;
        Found found;
        AtspiReference innermost; ///< of the focused ones
        int budget;               ///< objects that may still be looked at
        double deadline;          ///< uptime
    };

    void descend(const std::shared_ptr<Descent>& descent, const QList<AtspiReference>& level,
                 int depth);
    void enter(const std::shared_ptr<Descent>& descent, const QList<AtspiReference>& objects,
               int depth);
    static void finish(const std::shared_ptr<Descent>& descent);

    Scheduler& m_scheduler;
    AtspiBus& m_bus;
};

} // namespace murlo
