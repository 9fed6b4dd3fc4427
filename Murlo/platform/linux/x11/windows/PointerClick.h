#pragma once

#include "platform/Applications.h"
#include "platform/linux/x11/XcbConnection.h"

namespace murlo {

/// Clicks into a text box of a process, for toolkits that cannot be asked to give it the focus, and
/// puts the pointer back. `box` and `shown` (the windows front to back) are in device pixels.
/// False, and nothing is clicked, unless what shows there is the process's window called `title`,
/// or any of its windows if none is called so. Main thread.
[[nodiscard]] bool clickInto(const XcbConnection& connection, const QList<WindowInfo>& shown,
                             qint64 pid, const QString& title, const QRectF& box);

} // namespace murlo
