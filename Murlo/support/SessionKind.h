#pragma once

#include <QString>
#include <QtGlobal>

namespace murlo {

/// Whether the user's session is a Wayland one, where an X server, if there is one, sees the keys
/// of X programs alone. As the session says of itself, else by its display. Any thread.
[[nodiscard]] inline bool isWaylandSession() {
    const QString kind = qEnvironmentVariable("XDG_SESSION_TYPE");
    if (kind == QLatin1String("wayland") || kind == QLatin1String("x11"))
        return kind == QLatin1String("wayland");
    return !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

} // namespace murlo
