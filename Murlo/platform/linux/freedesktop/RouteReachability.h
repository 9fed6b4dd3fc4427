#pragma once

#include "platform/Reachability.h"

#include <QSocketNotifier>

#include <memory>

namespace murlo {

/// Goes by the kernel's routes: a default route that is added is a way to the Internet. (GLib's
/// monitor waits for a NetworkManager that hangs, 25 s on the main thread, and does not see routes
/// go that a link takes with it; Qt 6.4's hears nothing of GLib's.)
class RouteReachability : public Reachability {
public:
    ~RouteReachability() override;
    void watch() override;
    [[nodiscard]] bool isConnected() const override;

private:
    void read();

    int m_kernel = -1; ///< routing socket
    std::unique_ptr<QSocketNotifier> m_news;
};

} // namespace murlo
