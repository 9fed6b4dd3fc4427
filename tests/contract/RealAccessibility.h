#pragma once

#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/windows/X11Applications.h"
#include "tests/harness/desktop/Windows.h"

namespace murlo {

/// The real adapter on the desktop around the test.
struct RealAccessibility {
    QtScheduler scheduler;
    X11Applications applications{scheduler};
    AtspiAccessibility adapter{
        scheduler,
        {[this] { return applications.frontmostPid(); },
         [this](qint64 pid, const QString& title) { applications.activate(pid, title); },
         {},
         {}}};

    /// The focused element if it belongs to process `pid` or one it started.
    [[nodiscard]] ElementRef focusOf(qint64 pid) const {
        auto element = adapter.focusedElement();
        return element && descendsFrom(element->pid(), pid) ? element : nullptr;
    }
};

} // namespace murlo
