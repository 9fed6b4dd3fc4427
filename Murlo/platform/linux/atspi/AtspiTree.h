#pragma once

#include "ProgramFinder.h"
#include "WindowReader.h"
#include "platform/Applications.h"

namespace murlo {

/// Text boxes over AT-SPI: a program's windows as far as the screen shows them, and its focused
/// element. What is found is read on the way: whenever the time is up, that is handed over. Main
/// thread.
class AtspiTree : public AccessibilityTree {
public:
    /// The windows that the screen shows, front to back: what an application says of its own is
    /// held against them.
    using ShownWindows = std::function<QList<WindowInfo>()>;

    /// `focus` tells the element with the keyboard focus.
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
