#pragma once

#include "ProgramFinder.h"
#include "WindowReader.h"
#include "platform/Applications.h"

namespace murlo {

/// Text boxes over AT-SPI: a program's windows as far as the screen shows them, and its focused
/// element. Results are read on the way, so that a timeout hands over what has been found so far.
/// Main thread.
class AtspiTree : public AccessibilityTree {
public:
    /// The visible windows, front to back, to check against those that an application reports.
    using ShownWindows = std::function<QList<WindowInfo>()>;

    /// `focus` knows the element with the keyboard focus.
    AtspiTree(AtspiBus& bus, const Accessibility& focus, ShownWindows shown);

    [[nodiscard]] std::unique_ptr<TreeReading>
    read(qint64 pid, int mostWindows,
         std::function<void(const AccessibleApplication&)> done) override;

private:
    class Handle;

    void readPrograms(const AtspiReadingRef& reading);
    void readProgram(const AtspiReadingRef& reading, const AtspiBus::Replies& replies);
    static void addWindow(const AtspiReadingRef& reading, const AtspiReference& object,
                          const AtspiProgram& program, const AtspiAnswers& answers);
    void programRead(const AtspiReadingRef& reading);
    void readFocus(const AtspiReadingRef& reading);

    const Accessibility& m_focus;
    ShownWindows m_shown;
    QList<WindowInfo> m_seen; ///< what `m_shown` said last
    ProgramFinder m_programs;
    WindowReader m_windows;
    Lifetime m_lifetime;
};

} // namespace murlo
