#pragma once

#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"
#include "platform/Surfaces.h"
#include "tests/fakes/FakeAccessibility.h"

#include <QStringList>

#include <map>

namespace murlo {

/// Applications with their windows, described in text as the head of tests/data/boxes.txt explains.
/// A line that cannot be read ends the test program.
class FakeTree : public AccessibilityTree {
public:
    /// The elements are made in `elements`; without it they are known to nobody else.
    FakeTree(Scheduler& scheduler, const QStringList& lines, FakeAccessibility* elements = nullptr);

    [[nodiscard]] std::unique_ptr<TreeReading>
    read(qint64 pid, int mostWindows,
         std::function<void(const AccessibleApplication&)> done) override;

    struct Described {
        QString name;
        double latency = 0;   ///< of each answer, in seconds
        bool endless = false; ///< a reading comes to no end by itself
        bool hung = false;    ///< no answer comes: a reading ends with the time limit
        int readings = 0;     ///< how often it was asked
        int underWay = 0;     ///< readings that have neither ended nor been given up
        std::map<int, AccessibleApplication> from; ///< what it says from the nth reading on
    };
    std::map<qint64, Described> applications; ///< by process, which count from 10
    QList<WindowInfo> shown;                  ///< all windows, front to back
    QList<ScreenInfo> screens;

private:
    class Reading;

    Scheduler& m_scheduler;
};

} // namespace murlo
