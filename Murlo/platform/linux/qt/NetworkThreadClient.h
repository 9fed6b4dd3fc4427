#pragma once

#include "platform/HttpClient.h"
#include "platform/Scheduler.h"

#include <QUrl>

#include <functional>
#include <memory>

namespace murlo {

/// A client for the main thread that carries out what leaves this computer on a thread of its own:
/// looking up proxies and loading certificates blocks for up to seconds. Requests to loopback run
/// on the main thread. The thread starts with the first request that needs it; a destructor that
/// finds it blocked waits for 2 s and leaves it behind.
class NetworkThreadClient : public HttpClient {
public:
    /// `isLocal` tells which addresses are this computer's.
    explicit NetworkThreadClient(Scheduler& scheduler,
                                 std::function<bool(const QUrl&)> isLocal = isLoopback);
    ~NetworkThreadClient() override;

    [[nodiscard]] std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) override;

private:
    class Remote;

    static bool isLoopback(const QUrl& url);

    Scheduler& m_scheduler;
    std::function<bool(const QUrl&)> m_isLocal;
    std::unique_ptr<HttpClient> m_local;
    std::shared_ptr<Remote> m_remote; ///< null until the first request that leaves this computer
};

} // namespace murlo
