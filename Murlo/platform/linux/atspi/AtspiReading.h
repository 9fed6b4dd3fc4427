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
    std::deque<Open> open;          ///< objects that a walk still has to visit, from the top down
    std::deque<Entrance> entrances; ///< visited; their children are still to be requested
    int budget = 0;                 ///< objects that the walk may still visit
    bool scouting = false;          ///< the walk ends in a search, unless an object rules that out
    std::shared_ptr<int> turn;      ///< held while it is being read

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
    bool mayBeSilent = false; ///< the toolkit may report no content unless forced to
    bool searchable = true;   ///< the toolkit's own search can be used

    [[nodiscard]] bool isOver() const { return !done; }
    /// Whether the program has not hung and the time limit is not reached.
    [[nodiscard]] bool mayGoOn() const;
    /// Screen position of an element's window (null when unknown: then of the frontmost one).
    [[nodiscard]] QPointF originOf(const std::shared_ptr<const AtspiElement>& window) const;
    /// Counts `outstanding` down; the last one ends the reading.
    void partRead();
    /// Calls back with what has been read.
    void end(bool complete);
};

using AtspiReadingRef = std::shared_ptr<AtspiReading>;

} // namespace murlo
