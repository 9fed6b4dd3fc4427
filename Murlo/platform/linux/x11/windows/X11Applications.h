#pragma once

#include "platform/Applications.h"
#include "platform/linux/freedesktop/DesktopEntries.h"
#include "platform/linux/x11/windows/WindowManager.h"

namespace murlo {

/// `Applications` by what the window manager publishes (EWMH), the process table and the desktop
/// entries.
class X11Applications : public Applications {
public:
    /// Starts to read the desktop entries in the background.
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
    /// Class and instance names of the process's windows.
    [[nodiscard]] QStringList windowClasses(qint64 pid) const;
    [[nodiscard]] std::optional<DesktopEntries::Entry> entry(qint64 pid) const;

    XcbConnection m_connection;
    WindowManager m_windows;
    mutable DesktopEntries m_entries; ///< a cache
};

} // namespace murlo
