#pragma once

#include "platform/Applications.h"
#include "platform/linux/x11/XcbConnection.h"

namespace murlo {

/// Clicks into a text box of a process, for toolkits that cannot be asked to give it the focus, and
/// puts the pointer back. `box` and `shown` (the windows front to back) are in device pixels.
/// False, and nothing is clicked, unless one of the process's windows is what shows there. Main
/// thread.
[[nodiscard]] bool clickInto(const XcbConnection& connection, const QList<WindowInfo>& shown,
                             qint64 pid, const QRectF& box);

} // namespace murlo
