#pragma once

#include <QPoint>
#include <QString>

namespace murlo {

// What a person does with windows and mouse. "Its window" is that of process `pid` or of one that
// it started. Any thread.

/// Whether the active window is its window.
[[nodiscard]] bool ownsActiveWindow(qint64 pid);

/// Asks the window manager to bring its window to the front, as a task bar does; false when there
/// is no such window.
[[nodiscard]] bool bringToFront(qint64 pid);

/// Moves its window to a place on the screen; false when there is no such window.
[[nodiscard]] bool moveWindow(qint64 pid, const QPoint& place);

/// The title of its window; empty without one.
[[nodiscard]] QString titleOfWindow(qint64 pid);

/// Whether process `pid` is `ancestor` or was started by it, directly or not.
[[nodiscard]] bool descendsFrom(qint64 pid, qint64 ancestor);

/// Shows another of the desktop's workspaces, as a pager does.
void switchDesktop(int number);

/// Clicks with the left button.
void clickAt(const QPoint& place);

} // namespace murlo
