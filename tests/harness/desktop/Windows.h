#pragma once

#include <QtGlobal>

namespace murlo {

/// Whether the active window belongs to process `pid` or to one that it started. Any thread.
[[nodiscard]] bool ownsActiveWindow(qint64 pid);

/// Asks the window manager to bring the window of process `pid` (or of one it started) to the
/// front, as a task bar does; false when there is no such window. Any thread.
[[nodiscard]] bool bringToFront(qint64 pid);

/// Moves that window to the screen's top left corner; false when there is no such window. Any
/// thread.
[[nodiscard]] bool moveToCorner(qint64 pid);

/// Whether process `pid` is `ancestor` or was started by it, directly or not. Any thread.
[[nodiscard]] bool descendsFrom(qint64 pid, qint64 ancestor);

/// The title of the process's window, or of one that it started; empty without one.
[[nodiscard]] QString titleOfWindow(qint64 pid);

} // namespace murlo
