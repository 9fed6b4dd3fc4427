#pragma once

#include "AtspiBus.h"
#include "ProgramFinder.h"
#include "platform/Accessibility.h"
#include "platform/AccessibilityTree.h"
#include "platform/Applications.h"

#include <QSet>

namespace murlo {

/// Text boxes over AT-SPI. A window is walked from the outside in, around what may hold more
/// objects than a program can be asked for; a window of web pages is searched with a single call,
/// where the toolkit's own search is known to stay within what is there. Questions go out in
/// portions, and what is found is read on the way: whenever the time is up, that is handed over.
/// Main thread.
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
    struct Reading;
    struct Window;
    class Handle;
    using ReadingRef = std::shared_ptr<Reading>;
    using WindowRef = std::shared_ptr<Window>;

    void readPrograms(const ReadingRef& reading);
    void readProgram(const ReadingRef& reading, const AtspiBus::Replies& replies);
    void addWindow(const ReadingRef& reading, const AtspiReference& object,
                   const QDBusMessage* replies, bool windowExtentsOnly);
    void programRead(const ReadingRef& reading);
    void readWindow(const ReadingRef& reading, const WindowRef& window);
    void search(const ReadingRef& reading, const WindowRef& window);
    void searchFor(const ReadingRef& reading, const WindowRef& window, const AtspiStates& states,
                   const QList<AtspiRole>& roles, const std::function<void()>& then);
    /// The next portion of a walk.
    void walk(const ReadingRef& reading, const WindowRef& window);
    /// Goes into the window's `entrances` at `depth`, some at a time, and reads the hits found
    /// there.
    void enter(const ReadingRef& reading, const WindowRef& window, int depth);
    /// The next portion of what a search has found, and then of what is around that.
    void readHits(const ReadingRef& reading, const WindowRef& window);
    void readAroundHits(const ReadingRef& reading, const WindowRef& window);
    void windowRead(const ReadingRef& reading);
    /// How many objects the next portion of a window may have, where each is asked `questions`.
    [[nodiscard]] std::size_t portion(std::size_t questions) const;
    void readFocus(const ReadingRef& reading);
    /// Sends `calls` and goes on with the replies.
    void ask(const ReadingRef& reading, const std::vector<QDBusMessage>& calls,
             std::function<void(const AtspiBus::Replies&)> then, int limit = AtspiBus::answerLimit);

    AtspiBus& m_bus;
    const Accessibility& m_focus;
    ShownWindows m_shown;
    QList<WindowInfo> m_seen; ///< what `m_shown` said last
    ProgramFinder m_programs;
    QSet<QString> m_slow; ///< names on the bus of programs whose search takes too long
    std::shared_ptr<int> m_turns = std::make_shared<int>(); ///< held by each window being read
    Lifetime m_lifetime;
};

} // namespace murlo
