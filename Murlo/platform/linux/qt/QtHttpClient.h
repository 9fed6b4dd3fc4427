#pragma once

#include "platform/HttpClient.h"

#include <memory>

class QNetworkAccessManager;

namespace murlo {

/// HTTP through `QNetworkAccessManager`, HTTP/1.1 only, so that cancelling closes the connection.
/// Connections to loopback are not reused; others go through the system's proxy. Bodies above
/// `largestBody` are refused.
class QtHttpClient : public HttpClient {
public:
    static constexpr qint64 largestBody = 16LL * 1024 * 1024; ///< bytes

    /// `delay` runs the time limits of requests on the thread that uses this client.
    explicit QtHttpClient(Delay delay);
    ~QtHttpClient() override;

    /// Whether a host is this computer: "localhost", or a loopback address.
    [[nodiscard]] static bool isLoopback(const QString& host);
    /// The error of a stream that its callbacks have ended.
    [[nodiscard]] static HttpError brokenOff();

    [[nodiscard]] std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) override;

private:
    Delay m_delay;
    std::unique_ptr<QNetworkAccessManager> m_network; ///< of the thread of the first request
};

} // namespace murlo
