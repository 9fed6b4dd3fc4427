#pragma once

#include "AtspiBus.h"
#include "AtspiReading.h"

#include <QSet>

namespace murlo {

/// Reads the possible text boxes of windows. It walks each window from the top down and skips
/// objects with too many children; a window with web pages is searched with a single call if the
/// toolkit's own search is known to be bounded. Calls are sent in portions, and hits are read on
/// the way. Main thread.
class WindowReader {
public:
    explicit WindowReader(AtspiBus& bus);

    /// Reads a window, already counted in `reading->outstanding`, of a program that does not hang.
    void read(const AtspiReadingRef& reading, const AtspiWindowRef& window);

    /// Sends `calls` of a reading and passes the replies to `then`, unless the reading is over by
    /// then.
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
    /// Makes the walk end without a search.
    static void walkOnly(AtspiWindow& window);
    /// Requests the children of the window's `entrances` at `depth`, some at a time, and reads the
    /// hits found there.
    void enter(const AtspiReadingRef& reading, const AtspiWindowRef& window, int depth);
    /// Reads the next portion of the hits of a search, and then the objects around them.
    void readHits(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    void readAroundHits(const AtspiReadingRef& reading, const AtspiWindowRef& window);
    static void finish(AtspiReading& reading, AtspiWindow& window);
    /// Size of a window's next portion in objects, with `questions` calls for each.
    [[nodiscard]] std::size_t portion(std::size_t questions) const;

    AtspiBus& m_bus;
    QSet<QString> m_slow; ///< bus names of programs whose search has timed out
    std::shared_ptr<int> m_turns = std::make_shared<int>(); ///< held by each window being read
    Lifetime m_lifetime;
};

} // namespace murlo
