#pragma once

#include "platform/Applications.h"
#include "platform/linux/x11/XcbConnection.h"

namespace murlo {

/// The windows of all programs that the current desktop shows, front to back, as the window
/// manager tells them (EWMH). Two round trips, however many there are.
[[nodiscard]] QList<WindowInfo> readWindowList(const XcbConnection& connection, XcbAtoms& atoms);

} // namespace murlo
