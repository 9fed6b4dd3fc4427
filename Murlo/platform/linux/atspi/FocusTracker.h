#pragma once

#include "ElementReader.h"
#include "FocusFinder.h"

#include <QObject>

namespace murlo {

/// Knows which object has the keyboard focus, from the events of the programs: the focused object
/// of each program, and which window is active. What no event tells (at start, of a program that
/// comes late to the bus, or of a window that becomes active without a word about its focus) is
/// looked for once. Main thread; no event is handled between its end and that of the bus.
class FocusTracker : public QObject {
    Q_OBJECT
public:
    /// `frontmostPid` tells the process that owns the active window, cheaply.
    FocusTracker(Scheduler& scheduler, AtspiBus& bus,
                 std::function<std::optional<qint64>()> frontmostPid);

    /// The focused object of the active window's program; null while it is being read, when nothing
    /// has the focus, and when the active window is of a program that told nothing.
    [[nodiscard]] std::shared_ptr<const AtspiElement> focused();

    /// Asks the focused object whether it still is: where the events of its program have not told
    /// the truth, it is forgotten and the focus looked for; where it takes no text, another is
    /// looked for that has the focus too and does. `corrected` is called on a later turn for each
    /// change that follows from that, not at all if all is well.
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
        /// Counts the changes of focus: an answer to an older question is dropped, and the program
        /// with the latest change is preferred among those of one process.
        quint64 change = 0;
        /// The program's process was seen to own the active window, so the two can be compared; not
        /// so for sandboxed programs.
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
    /// Of `owner`, the program of a window, and those that show something in it (a web page), the
    /// one that has told of its focus last.
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
    /// The frontmost process and the state of knowledge for which a focus was looked for in vain.
    std::pair<qint64, quint64> m_sought;
};

} // namespace murlo
