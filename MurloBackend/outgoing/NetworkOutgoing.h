#pragma once

#include "MurloBackend/outgoing/Outgoing.h"

#include <QThread>

namespace murlo::backend {

/// The network: HTTP and HTTPS by Qt on a thread of its own, which proxy look-ups and certificates
/// may hold up. Follows no redirects, keeps no cookies and no cache, asks for uncompressed answers,
/// takes the system's proxy except for loopback. As ever with Qt, a request whose connection closes
/// before any answer is sent again up to three times. Completions come on that thread and must be
/// short.
class NetworkOutgoing : public Outgoing {
public:
    NetworkOutgoing();
    /// Not on its own thread. What is under way completes first, as unreachable.
    ~NetworkOutgoing() override;

    void send(OutgoingRequest request, std::function<void(Result)> done) override;

private:
    class Worker;
    QThread m_thread;
    Worker* const m_worker; ///< lives on the thread, and ends there
};

} // namespace murlo::backend
