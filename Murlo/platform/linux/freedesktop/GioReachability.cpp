#include "platform/linux/freedesktop/GioReachability.h"

#undef signals // a name of GLib's, too
#include <gio/gio.h>

namespace murlo {

GioReachability::~GioReachability() {
    if (m_connection != 0)
        g_signal_handler_disconnect(g_network_monitor_get_default(), m_connection);
}

void GioReachability::watch() {
    if (m_connection != 0) return;
    const auto changed = +[](GNetworkMonitor* monitor, gboolean, gpointer self) {
        if (g_network_monitor_get_connectivity(monitor) == G_NETWORK_CONNECTIVITY_FULL)
            Q_EMIT static_cast<GioReachability*>(self)->cameBack();
    };
    m_connection = g_signal_connect(g_network_monitor_get_default(), "network-changed",
                                    G_CALLBACK(changed), this);
}

} // namespace murlo
