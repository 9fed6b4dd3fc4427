#pragma once

#include "AtspiBus.h"
#include "AtspiReading.h"

#include <QSet>

namespace murlo {

/// Reads what may be text boxes of windows, each from the outside in, around what may hold more
/// objects than a program can be asked for; a window of web pages is searched with a single call,
/// where the toolkit's own search is known to stay within what is there. Questions go out in
/// portions, and what is found is read on the way. Main thread.
class WindowReader {
public:
    explicit WindowReader(AtspiBus& bus);

    /// Reads a window, which is one of the parts outstanding in `reading`, of a program that does
    /// not hang.
    void read(const AtspiReadingRef& reading, const AtspiWindowRef& window);

    /// Sends `calls` of a reading and goes on with the replies, unless it is over by then.
    void ask(const AtspiReadingRef& reading, const std::vector<QDBusMessage>& calls,
             std::function<void(const AtspiBus::Replies&)> then,
             int limit = budget::answerMilliseconds);

private:
    void search(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    void searchFor(const AtspiReadingRef& reading, const AtspiWindowRef& window,
                   const AtspiStates& states, const QList<AtspiRole>& roles,
                   const std::function<void()>& then);
    /// The next portion of a walk.
    void walk(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    /// The walk is not to end in a search.
    static void walkOnly(AtspiWindow& window);
    /// Goes into the window's `entrances` at `depth`, some at a time, and reads the hits found
    /// there.
    void enter(const AtspiReadingRef& reading, const AtspiWindowRef& window, int depth);
    /// The next portion of what a search has found, and then of what is around that.
    void readHits(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    void readAroundHits(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    static void finish(AtspiReading& reading, AtspiWindow& window);
    /// How many objects the next portion of a window may have, where each is asked `questions`.
    [[nodiscard]] std::size_t portion(std::size_t questions) const;

    AtspiBus& m_bus;
    QSet<QString> m_slow; ///< names on the bus of programs whose search takes too long
    std::shared_ptr<int> m_turns = std::make_shared<int>(); ///< held by each window being read
    Lifetime m_lifetime;
};

} // namespace murlo
