#pragma once

#include "platform/Reachability.h"

namespace murlo {

/// GLib's word: NetworkManager's where it runs, else what the kernel's routes say. (Of GLib's
/// monitor Qt 6.4's QNetworkInformation hears no change when it goes by the routes. GLib itself
/// does not see the routes go that a link takes with it, so every change counts.)
class GioReachability : public Reachability {
public:
    ~GioReachability() override;
    void watch() override;

private:
    unsigned long m_connection = 0; ///< GLib's number of it; 0 before `watch`
};

} // namespace murlo
