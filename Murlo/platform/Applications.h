#pragma once

#include "platform/Port.h"

#include <QList>
#include <QRectF>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo {

/// A window on the screen.
struct WindowInfo {
    qint64 pid = 0;
    QString title;
    /// What it covers, its decoration included and its shadow not; device pixels, origin at the
    /// top left, y growing downwards.
    QRectF bounds;
    QRectF content;         ///< what the application itself draws: neither decoration nor shadow
    bool isDocument = true; ///< an ordinary window, not a panel, dock or desktop
};

/// The running applications of this desktop session. Main thread; never blocks on one of them.
class Applications : public Port {
public:
    /// Process that owns the active window.
    [[nodiscard]] virtual std::optional<qint64> frontmostPid() const = 0;
    /// The window system's names for the program that receives keys now (on X11 the class and
    /// instance name of the window with the keyboard focus), in lower case; empty when unknown.
    /// Does not access the disk.
    [[nodiscard]] virtual QStringList focusedProgram() const = 0;
    /// The identifier under which the desktop knows the application of a process (its desktop
    /// file's name without ".desktop").
    [[nodiscard]] virtual std::optional<QString> identifier(qint64 pid) const = 0;
    /// The application's name for the user.
    [[nodiscard]] virtual std::optional<QString> name(qint64 pid) const = 0;
    /// The windows that can be seen on the current desktop, front to back.
    [[nodiscard]] virtual QList<WindowInfo> windowsOnScreen() const = 0;
    /// Brings a window of the application to the front: the one with this `title` if there is one,
    /// else its frontmost one.
    virtual void activate(qint64 pid, const QString& title) = 0;
    /// Clicks at the end of the text box `box` (device pixels) of a process's window with this
    /// `title`, or of any, if none has it; false, without a click, while another window is in front
    /// of it.
    [[nodiscard]] virtual bool click(qint64 pid, const QString& title, const QRectF& box) = 0;
};

/// The process's window with this `title` among `windows` (front to back), else its first.
[[nodiscard]] inline std::optional<WindowInfo> windowOf(const QList<WindowInfo>& windows,
                                                        qint64 pid, const QString& title) {
    std::optional<WindowInfo> first;
    for (const WindowInfo& window : windows) {
        if (window.pid != pid) continue;
        if (window.title == title) return window;
        if (!first) first = window;
    }
    return first;
}

/// Intersection over union of two rectangles: 0 (disjoint) … 1 (equal).
[[nodiscard]] inline double overlap(const QRectF& a, const QRectF& b) {
    const auto area = [](const QRectF& rect) { return rect.width() * rect.height(); };
    const double common = area(a & b);
    const double either = area(a) + area(b) - common;
    return either > 0 ? common / either : 0;
}

} // namespace murlo
