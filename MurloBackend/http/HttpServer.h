#pragma once

#include "MurloBackend/http/LocalGuard.h"
#include "MurloBackend/http/Messages.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <tl/expected.hpp>

namespace murlo::backend {

/// Where the server listens and what it puts up with.
struct HttpOptions {
    QHostAddress address{QHostAddress::LocalHost};
    quint16 port = 0;         ///< 0: any free one
    int inheritedSocket = -1; ///< a listening socket from the service manager, taken over; or -1
    std::optional<uint> onlyUser; ///< on loopback: whose connections alone are kept
    int threads = 2;
    qint64 bodyLimit = qint64{2} * 1024 * 1024; ///< bytes
    int connections = 512;
    std::chrono::seconds readLimit{30};   ///< for a request to arrive in, also the next one
    std::chrono::seconds handleLimit{30}; ///< for its answer to be found
    std::chrono::seconds writeLimit{30};  ///< for the answer to be taken
};

/// An HTTP/1.1 server. What exceeds a limit or is no HTTP/1.x is answered (400, 413, 414, 431, 505)
/// before the connection is closed, and what the client was still sending is read for a moment,
/// lest it miss the answer. A client that is too slow is cut off.
class HttpServer {
public:
    /// Gets every good request with the peer's address, on a thread of the server; may answer there
    /// or later.
    using Handler = std::function<void(Request, const QByteArray& peer, Respond)>;

    HttpServer(HttpOptions options, Handler handler);
    /// Without waiting for anything; `stop` waits.
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// Listens; connections wait. The end that it listens on, or why it cannot.
    [[nodiscard]] tl::expected<Endpoint, QString> listen();
    /// Answers from now on, after `listen`.
    void run();

    /// Takes no connection but those that are made already, lets their requests and those under way
    /// be answered for as long as this, then closes everything. An inherited socket's queue is left
    /// to the service manager. Idempotent; not on a thread of the server.
    void stop(std::chrono::milliseconds patience);

    /// How long no request has been under way or come in. Any thread.
    [[nodiscard]] std::chrono::steady_clock::duration quietFor() const;

private:
    class Machine;
    std::unique_ptr<Machine> m_machine;
};

} // namespace murlo::backend
