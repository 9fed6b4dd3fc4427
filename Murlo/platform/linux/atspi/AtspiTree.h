#pragma once

#include "AtspiBus.h"
#include "ProgramFinder.h"
#include "platform/Accessibility.h"
#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"

namespace murlo {

/// Text boxes over AT-SPI: each window is asked for what can be one with a single call where its
/// toolkit answers such questions, else walked level by level with all calls of a level in flight
/// together; then the hits are read together. Main thread.
class AtspiTree : public AccessibilityTree {
public:
    /// The windows that the screen shows, front to back: what an application says of its own is
    /// held against them.
    using ShownWindows = std::function<QList<WindowInfo>()>;

    /// `focus` tells the element with the keyboard focus.
    AtspiTree(AtspiBus& bus, const Accessibility& focus, ShownWindows shown);

    void read(qint64 pid, int mostWindows,
              std::function<void(const AccessibleApplication&)> done) override;

private:
    struct Reading;
    struct Window;
    using ReadingRef = std::shared_ptr<Reading>;
    using WindowRef = std::shared_ptr<Window>;

    void readPrograms(const ReadingRef& reading);
    void readProgram(const ReadingRef& reading, const AtspiBus::Replies& replies);
    void addWindow(const ReadingRef& reading, const AtspiReference& object,
                   const QDBusMessage* replies, bool windowExtentsOnly);
    void programRead(const ReadingRef& reading);
    void readWindow(const ReadingRef& reading, const WindowRef& window);
    void walk(const ReadingRef& reading, const WindowRef& window,
              const std::vector<AtspiReference>& level, int depth);
    void readHits(const ReadingRef& reading, const WindowRef& window);
    void windowRead(const ReadingRef& reading);
    void readFocus(const ReadingRef& reading);
    /// Sends `calls` and goes on with the replies.
    void ask(const ReadingRef& reading, const std::vector<QDBusMessage>& calls,
             std::function<void(const AtspiBus::Replies&)> then, int limit = AtspiBus::answerLimit);

    AtspiBus& m_bus;
    const Accessibility& m_focus;
    ShownWindows m_shown;
    QList<WindowInfo> m_seen; ///< what `m_shown` said last
    ProgramFinder m_programs;
    Lifetime m_lifetime;
};

} // namespace murlo
