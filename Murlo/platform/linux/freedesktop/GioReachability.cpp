#include "platform/linux/freedesktop/GioReachability.h"

#undef signals // a name of GLib's, too
#include <gio/gio.h>

namespace murlo {

namespace {

bool isOnline() {
    return g_network_monitor_get_connectivity(g_network_monitor_get_default()) ==
           G_NETWORK_CONNECTIVITY_FULL;
}

} // namespace

GioReachability::~GioReachability() {
    if (m_connection != 0)
        g_signal_handler_disconnect(g_network_monitor_get_default(), m_connection);
}

void GioReachability::watch() {
    if (m_connection != 0) return;
    m_isOnline = isOnline();
    const auto changed = +[](GNetworkMonitor*, gboolean, gpointer self) {
        auto* watcher = static_cast<GioReachability*>(self);
        const bool now = isOnline();
        if (!std::exchange(watcher->m_isOnline, now) && now) Q_EMIT watcher->cameBack();
    };
    m_connection = g_signal_connect(g_network_monitor_get_default(), "network-changed",
                                    G_CALLBACK(changed), this);
}

} // namespace murlo
