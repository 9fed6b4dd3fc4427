#pragma once

#include "HitList.h"
#include "platform/Applications.h"

#include <QElapsedTimer>
#include <QList>

#include <deque>

namespace murlo {

/// A window that is being read.
struct AtspiWindow {
    struct Open {
        AtspiReference object;
        int depth;
    };
    struct Entrance {
        AtspiReference object;
        int children;
    };

    std::shared_ptr<AtspiElement> element;
    AccessibleApplication::Window result;
    HitList hits;
    std::deque<Open> open;          ///< what a walk has still to look at, from the outside in
    std::deque<Entrance> entrances; ///< looked at, and to be entered
    int budget = 0;                 ///< objects that the walk may still look at
    bool scouting = false; ///< the walk is to end in a search, unless it finds what forbids that
    std::shared_ptr<int> turn; ///< held while it is being read

    [[nodiscard]] QPointF origin() const { return result.root.frame->topLeft(); }
};

using AtspiWindowRef = std::shared_ptr<AtspiWindow>;

/// A reading of an application that is under way.
struct AtspiReading {
    qint64 pid = 0;
    int mostWindows = 0;
    std::function<void(const AccessibleApplication&)> done;
    QList<WindowInfo> shown; ///< the process's windows, front to back
    std::vector<AtspiWindowRef> windows;
    std::optional<AccessibleNode> focused;
    int outstanding = 0; ///< programs, and then windows, that are being read
    QElapsedTimer clock;
    bool hangs = false;
    bool mayBeSilent = false; ///< the toolkit tells nothing of its windows unless it is made to
    bool searchable = true;   ///< the toolkit's own search can be used

    [[nodiscard]] bool isOver() const { return !done; }
    /// Whether the program answers and its time is not up.
    [[nodiscard]] bool mayGoOn() const;
    /// Where the window of an element (null when unknown: then the frontmost one) is on the screen.
    [[nodiscard]] QPointF originOf(const std::shared_ptr<const AtspiElement>& window) const;
    /// One of `outstanding` is done, the last of which ends the reading.
    void partRead();
    /// Hands over what has been read.
    void end(bool complete);
};

using AtspiReadingRef = std::shared_ptr<AtspiReading>;

} // namespace murlo
