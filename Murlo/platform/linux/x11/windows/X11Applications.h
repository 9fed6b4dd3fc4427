#pragma once

#include "platform/Applications.h"
#include "platform/linux/freedesktop/DesktopEntries.h"
#include "platform/linux/x11/XcbConnection.h"

#include <vector>

namespace murlo {

/// `Applications` by what the window manager publishes (EWMH), the process table and the desktop
/// entries.
class X11Applications : public Applications {
public:
    /// Begins to read the desktop entries, in the background.
    explicit X11Applications(Scheduler& scheduler);

    [[nodiscard]] std::optional<qint64> frontmostPid() const override;
    [[nodiscard]] QStringList focusedProgram() const override;
    /// Found by, in this order: the sandbox or launcher that started the process, the class of its
    /// windows, its program.
    [[nodiscard]] std::optional<QString> identifier(qint64 pid) const override;
    /// The desktop entry's name, or the class of the application's windows, or the program's name.
    [[nodiscard]] std::optional<QString> name(qint64 pid) const override;
    [[nodiscard]] QList<WindowInfo> windowsOnScreen() const override;
    void activate(qint64 pid, const QString& title) override;
    [[nodiscard]] bool click(qint64 pid, const QString& title, const QRectF& box) override;

private:
    [[nodiscard]] std::vector<quint32> property(xcb_window_t window, const char* name,
                                                xcb_atom_t type) const;
    [[nodiscard]] std::optional<qint64> pidOf(xcb_window_t window) const;
    /// The process's windows, the topmost first.
    [[nodiscard]] std::vector<xcb_window_t> windows(qint64 pid) const;
    /// The active window; XCB_WINDOW_NONE when there is none.
    [[nodiscard]] xcb_window_t activeWindow() const;
    [[nodiscard]] QString titleOf(xcb_window_t window) const;
    /// Class and instance name of a window.
    [[nodiscard]] QStringList classesOf(xcb_window_t window) const;
    /// Those of the process's windows.
    [[nodiscard]] QStringList windowClasses(qint64 pid) const;
    [[nodiscard]] std::optional<DesktopEntries::Entry> entry(qint64 pid) const;

    XcbConnection m_connection;
    mutable XcbAtoms m_atoms; ///< both only remember answers
    mutable DesktopEntries m_entries;
};

} // namespace murlo
