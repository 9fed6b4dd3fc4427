#pragma once

#include "platform/HttpClient.h"

namespace murlo {

class LocalService;
class Scheduler;

/// An HTTP client that sends to a server of this computer only while its listening socket is this
/// user's own: other users reach the loopback interface, too. Where nobody listens it has the
/// user's backend started first; the request's time limit runs meanwhile. Main thread.
class LoopbackGuard : public HttpClient {
public:
    LoopbackGuard(HttpClient& http, LocalService& local, Scheduler& scheduler)
        : m_http(http)
        , m_local(local)
        , m_scheduler(scheduler) {}

    [[nodiscard]] std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) override;

private:
    HttpClient& m_http;
    LocalService& m_local;
    Scheduler& m_scheduler;
};

} // namespace murlo
