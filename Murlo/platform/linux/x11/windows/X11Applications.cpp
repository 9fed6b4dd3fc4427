#include "platform/linux/x11/windows/X11Applications.h"

#include "platform/linux/processes/ProcessFacts.h"
#include "platform/linux/x11/windows/PointerClick.h"

#include <algorithm>

namespace murlo {

namespace {

QStringList lowerCase(QStringList names) {
    for (QString& name : names) name = name.toLower();
    return names;
}

} // namespace

X11Applications::X11Applications(Scheduler& scheduler)
    : m_windows(m_connection)
    , m_entries(scheduler) {}

std::optional<qint64> X11Applications::frontmostPid() const {
    return m_windows.pidOf(m_windows.active());
}

QStringList X11Applications::focusedProgram() const {
    // Menus and launchers can have the focus without being the active window.
    QStringList classes;
    const xcb_window_t named = m_windows.outwards(m_windows.focused(), [&](xcb_window_t window) {
        classes = m_windows.classesOf(window);
        return !classes.isEmpty();
    });
    return lowerCase(named == XCB_WINDOW_NONE ? m_windows.classesOf(m_windows.active()) : classes);
}

QStringList X11Applications::windowClasses(qint64 pid) const {
    QStringList classes;
    for (const xcb_window_t window : m_windows.windowsOf(pid))
        classes.append(m_windows.classesOf(window));
    classes.removeDuplicates();
    return classes;
}

std::optional<DesktopEntries::Entry> X11Applications::entry(qint64 pid) const {
    return m_entries.ofProcess(pid, [&] { return windowClasses(pid); });
}

std::optional<QString> X11Applications::identifier(qint64 pid) const {
    const auto found = entry(pid);
    return found ? std::optional(found->id) : std::nullopt;
}

std::optional<QString> X11Applications::name(qint64 pid) const {
    if (const auto found = entry(pid); found && !found->name.isEmpty()) return found->name;
    if (const QStringList classes = windowClasses(pid); !classes.isEmpty()) return classes.first();
    return ProcessFacts::commandName(pid);
}

QList<WindowInfo> X11Applications::windowsOnScreen() const {
    return m_windows.shown();
}

bool X11Applications::click(qint64 pid, const QString& title, const QRectF& box) {
    return clickInto(m_connection, windowsOnScreen(), pid, title, box);
}

void X11Applications::activate(qint64 pid, const QString& title) {
    const auto own = m_windows.windowsOf(pid);
    if (own.empty()) return;
    const auto named = std::ranges::find_if(own, [&](xcb_window_t window) {
        return !title.isEmpty() && m_windows.titleOf(window) == title;
    });
    m_windows.activate(named == own.end() ? own.front() : *named);
}

} // namespace murlo
