#pragma once

#include <QByteArray>
#include <QList>
#include <QUrl>

#include <functional>
#include <tl/expected.hpp>
#include <utility>

namespace murlo::backend {

/// A request of the backend to another server.
struct OutgoingRequest {
    QUrl url;
    QByteArray method = QByteArrayLiteral("GET"); ///< GET or POST
    QList<std::pair<QByteArray, QByteArray>> headers = {};
    QByteArray body = {}; ///< of POST
    double timeout = 10;  ///< seconds, for the whole exchange
};

/// The whole answer, whatever its status. A redirect is an answer like any other.
struct OutgoingResponse {
    int status = 200;
    QByteArray body = {};
    QList<std::pair<QByteArray, QByteArray>> headers = {};

    /// The value of a header, whatever the case of its name; empty without one.
    [[nodiscard]] QByteArray header(const QByteArray& name) const {
        for (const auto& [key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0) return value;
        return {};
    }
};

/// Why there is no answer.
enum class OutgoingFault {
    unreachable, ///< no connection, a broken one, no trusted certificate, or the end of the program
    timedOut,    ///< the time limit was over
    tooLarge,    ///< the body exceeds `Outgoing::largestBody`
    forbidden    ///< an address that `Outgoing::mayAsk` refuses; nothing was sent
};

/// Asks other servers: the identity provider for its keys, a language model for a rewritten text.
/// Nothing of a request or an answer is logged.
class Outgoing {
public:
    using Result = tl::expected<OutgoingResponse, OutgoingFault>;
    static constexpr qint64 largestBody = qint64{4} * 1024 * 1024; ///< bytes of an answer

    virtual ~Outgoing() = default;
    /// Any thread; completes once, on the implementation's thread, possibly during the call.
    virtual void send(OutgoingRequest request, std::function<void(Result)> done) = 0;

    /// Whether texts and keys may travel to this address: https anywhere, plain http to a literal
    /// loopback address (127.0.0.0/8, ::1) alone.
    [[nodiscard]] static bool mayAsk(const QUrl& url);
};

} // namespace murlo::backend
