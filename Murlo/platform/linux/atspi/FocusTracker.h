#pragma once

#include "ElementReader.h"
#include "FocusFinder.h"

#include <QObject>

namespace murlo {

/// Knows which object has the keyboard focus, from the events of the programs: the focused object
/// of each program, and which window is active. Where no event has told (at start, for a program
/// that joins the bus late, or for a window that becomes active without a focus event) it searches
/// once. Main thread; destroy it together with the bus, without an event in between.
class FocusTracker : public QObject {
    Q_OBJECT
public:
    /// `frontmostPid` returns the process that owns the active window; it must be cheap.
    FocusTracker(Scheduler& scheduler, AtspiBus& bus,
                 std::function<std::optional<qint64>()> frontmostPid);

    /// The focused object of the active window's program; null while it is being read, when nothing
    /// has the focus, and when the active window's program reports nothing.
    [[nodiscard]] std::shared_ptr<const AtspiElement> focused();

    /// Asks the focused object whether it still is. If not (its program's events were wrong),
    /// forgets it and searches for the focus; if it takes no text, searches for another focused
    /// object that does. `corrected` is called on a later turn for each resulting change, not at
    /// all if there is none.
    void recheck(std::function<void()> corrected);

private Q_SLOTS:
    void onFocusedChanged(const QDBusMessage& signal);
    void onWindowEvent(const QDBusMessage& signal);
    void onProgramAdded(const QDBusMessage& signal);

private:
    struct Program {
        /// The object that has the focus as far as known; `element` is null until it was read.
        AtspiReference object;
        std::shared_ptr<const AtspiElement> element;
        /// Counts focus changes: a reply to an earlier request is dropped, and among the programs
        /// of one process that with the latest change is preferred.
        quint64 change = 0;
        /// The program's process was seen to own the active window, so the process ids are
        /// comparable; for sandboxed programs they are not.
        bool pidComparable = false;
    };

    void reset();
    void discover();
    FocusFinder::Found activeWindowFound();
    void activate(const AtspiReference& window);
    void lookForFocus(const AtspiReference& window, FocusFinder::Wanted what,
                      std::function<void()> known = {});
    /// Several objects may be focused at once: one that takes text is preferred to one that does
    /// not, if it still has the focus and `change` is the program's last.
    void preferIfFocused(const std::shared_ptr<const AtspiElement>& before, quint64 change);
    /// `known` is called once it has been read.
    void setFocus(const AtspiReference& object, const std::function<void()>& known = {});
    void drop(Program& program);
    /// Among `owner`, the program of a window, and those embedded in it (a web page), the one that
    /// reported its focus last.
    const Program& latestIn(const AtspiReference& window, const Program& owner) const;
    /// Whether `focused`, in a window of `program`, is in the frontmost process.
    static bool ownsActiveWindow(Program& program,
                                 const std::shared_ptr<const AtspiElement>& focused,
                                 std::optional<qint64> frontmost);

    Scheduler& m_scheduler;
    AtspiBus& m_bus;
    ElementReader m_reader;
    FocusFinder m_finder;
    std::function<std::optional<qint64>()> m_frontmostPid;
    QHash<QString, Program> m_programs;
    std::optional<AtspiReference> m_activeWindow;
    quint64 m_changes = 0;
    ScheduledWork m_search;
    /// The frontmost process and the change count at the last search that found no focus.
    std::pair<qint64, quint64> m_sought;
};

} // namespace murlo
