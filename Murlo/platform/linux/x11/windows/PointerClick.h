#pragma once

#include "platform/Applications.h"
#include "platform/linux/x11/XcbConnection.h"

namespace murlo {

/// Clicks into a text box of a process, for toolkits that cannot set the focus on request, and
/// moves the pointer back. `box` and `shown` (the windows front to back) are in device pixels.
/// False, and nothing is clicked, unless the topmost window there is the process's window with this
/// `title`, or any of its windows if none has that title. Main thread.
[[nodiscard]] bool clickInto(const XcbConnection& connection, const QList<WindowInfo>& shown,
                             qint64 pid, const QString& title, const QRectF& box);

} // namespace murlo
