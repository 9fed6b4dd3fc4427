#pragma once

#include "MurloKit/FriendlyError.h"
#include "platform/Port.h"
#include "platform/Scheduler.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <tl/expected.hpp>
#include <utility>

namespace murlo {

/// Name and value.
using HttpHeader = std::pair<QByteArray, QByteArray>;

/// A whole HTTP response; in a stream, its head.
struct HttpResponse {
    int status = 0;
    QByteArray body;
    QList<HttpHeader> headers = {}; ///< names as they were sent

    /// The value of a header, whatever the case of its name; empty without one.
    [[nodiscard]] QByteArray header(const QByteArray& name) const {
        for (const auto& [key, value] : headers)
            if (key.compare(name, Qt::CaseInsensitive) == 0) return value;
        return {};
    }
};

/// A request with its timeout.
struct HttpRequest {
    QByteArray method = "GET";
    QUrl url;
    QList<HttpHeader> headers = {};
    QByteArray body = {};
    /// Seconds after which the request fails as timed out, counted from `send`, or in a stream
    /// from the last piece.
    double timeout = 60;
    /// With `piece`, the answer is a stream: its body, of any size, comes in pieces instead of
    /// with the completion, `head` once before the first. False from either ends the transfer,
    /// which then fails. The handle may be destroyed in them.
    std::function<bool(const HttpResponse&)> head = {};
    std::function<bool(const QByteArray&)> piece = {};
};

/// Why no whole HTTP response came: refused, unreachable, timed out, cut off, larger than 16 MB
/// (unless it is a stream), or a stream that its callbacks ended.
struct HttpError {
    QString description; ///< a sentence for the user, without the address
    QString domain;
    int code = 0;
    NetworkFailure failure = NetworkFailure::other; ///< the kind; no adapter tells `offline`
};

using HttpResult = tl::expected<HttpResponse, HttpError>;

/// A request under way; destroying or cancelling the handle closes the connection and means that
/// the completion is never called.
class HttpTask : public Port {
public:
    virtual void cancel() = 0;
};

/// HTTP requests without caches, cookies or proxies for loopback. Redirects are answers: they are
/// not followed. Belongs to the thread (with an event loop) that uses it first; completions run
/// there, once, on a later turn. Destroying it cancels what is under way.
class HttpClient : public Port {
public:
    [[nodiscard]] virtual std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) = 0;
};

/// A new client for the calling thread; `delay` runs that thread's timeouts.
using MakeHttpClient = std::function<std::unique_ptr<HttpClient>(Delay delay)>;

} // namespace murlo
