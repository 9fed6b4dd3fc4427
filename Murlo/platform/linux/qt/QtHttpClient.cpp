#include "platform/linux/qt/QtHttpClient.h"

#include <QHostAddress>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QPointer>

#include <algorithm>

namespace murlo {

namespace {

constexpr qint64 streamBuffer = qint64{1024} * 1024; // bytes buffered for the reader of a stream

class ProxyOutsideLoopback : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
        if (QtHttpClient::isLoopback(query.peerHostName())) return {QNetworkProxy::NoProxy};
        return systemProxyForQuery(query);
    }
};

QNetworkRequest toLibrary(const HttpRequest& request) {
    QNetworkRequest result(request.url);
    result.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    result.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                        QNetworkRequest::ManualRedirectPolicy);
    result.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    // No compression: a decompression bomb would bypass the size limit.
    result.setRawHeader("Accept-Encoding", "identity");
    if (QtHttpClient::isLoopback(request.url.host())) result.setRawHeader("Connection", "close");
    for (const auto& [name, value] : request.headers) result.setRawHeader(name, value);
    return result;
}

/// A body that can be read once. Otherwise Qt would resend the request when the peer closes the
/// connection without an answer: the server might act on it twice, or another one might receive it.
class BodyToSendOnce : public QIODevice {
public:
    explicit BodyToSendOnce(QByteArray body)
        : m_body(std::move(body)) {
        open(ReadOnly);
    }
    [[nodiscard]] bool isSequential() const override { return true; }
    [[nodiscard]] qint64 bytesAvailable() const override {
        return m_body.size() - m_read + QIODevice::bytesAvailable();
    }
    bool reset() override { return false; }

protected:
    qint64 readData(char* data, qint64 most) override {
        const qint64 count = std::min<qint64>(most, m_body.size() - m_read);
        if (count == 0 && most > 0) return -1;
        std::copy_n(m_body.constData() + m_read, count, data);
        m_read += count;
        return count;
    }
    qint64 writeData(const char* /*data*/, qint64 /*most*/) override { return -1; }

private:
    QByteArray m_body;
    qint64 m_read = 0;
};

QNetworkReply* start(QNetworkAccessManager& network, const HttpRequest& request) {
    QNetworkRequest prepared = toLibrary(request);
    // Who listens on loopback was looked at for one connection; on the next there may be another
    // user, who must not get the key.
    const bool isSentOnce = QtHttpClient::isLoopback(request.url.host());
    if (request.method == "GET" && !isSentOnce) return network.get(prepared);
    if (request.method == "HEAD") return network.head(prepared);
    prepared.setAttribute(QNetworkRequest::DoNotBufferUploadDataAttribute, true);
    prepared.setHeader(QNetworkRequest::ContentLengthHeader, request.body.size());
    auto* body = new BodyToSendOnce(request.body);
    QNetworkReply* reply = network.sendCustomRequest(prepared, request.method, body);
    body->setParent(reply);
    return reply;
}

/// Whether the code only says that the status of a whole response is an error.
bool isStatusError(QNetworkReply::NetworkError code) {
    return (code >= QNetworkReply::ContentAccessDenied &&
            code <= QNetworkReply::UnknownContentError) ||
           (code >= QNetworkReply::InternalServerError &&
            code <= QNetworkReply::UnknownServerError) ||
           code == QNetworkReply::ProtocolInvalidOperationError ||  // status 400
           code == QNetworkReply::ProxyAuthenticationRequiredError; // status 407
}

NetworkFailure kindOf(QNetworkReply::NetworkError code) {
    switch (code) {
    case QNetworkReply::HostNotFoundError:
    case QNetworkReply::ProxyNotFoundError:
        return NetworkFailure::noHost;
    case QNetworkReply::ConnectionRefusedError:
    case QNetworkReply::ProxyConnectionRefusedError:
        return NetworkFailure::refused;
    case QNetworkReply::TimeoutError:
    case QNetworkReply::ProxyTimeoutError:
        return NetworkFailure::timedOut;
    case QNetworkReply::RemoteHostClosedError:
    case QNetworkReply::ProxyConnectionClosedError:
    case QNetworkReply::NetworkSessionFailedError:
    case QNetworkReply::TemporaryNetworkFailureError:
        return NetworkFailure::cutOff;
    default:
        return NetworkFailure::other;
    }
}

HttpError describe(QNetworkReply::NetworkError code, QString words, const QUrl& url) {
    // With a body that cannot be resent (see BodyToSendOnce) Qt reports a closed connection as a
    // resend or an unknown error, depending on the moment.
    if (code == QNetworkReply::ContentReSendError || code == QNetworkReply::UnknownNetworkError) {
        code = QNetworkReply::RemoteHostClosedError;
    }
    if (code == QNetworkReply::RemoteHostClosedError) {
        words = QStringLiteral("The connection was closed before the answer came.");
    }
    words.remove(url.toString()).remove(url.host());
    return {words.simplified(), QStringLiteral("QNetworkReply"), code, kindOf(code)};
}

/// One request under way, shared by its handle and the handlers of Qt's signals.
class Exchange : public std::enable_shared_from_this<Exchange> {
public:
    Exchange(QNetworkReply* reply, const HttpRequest& request, Delay delay,
             std::function<void(HttpResult)> completion)
        : m_reply(reply)
        , m_head(request.head)
        , m_piece(request.piece)
        , m_timeout(request.timeout)
        , m_delay(std::move(delay))
        , m_completion(std::move(completion)) {
        if (m_piece) m_reply->setReadBufferSize(streamBuffer);
    }
    void begin() {
        const std::weak_ptr<Exchange> weak = weak_from_this();
        const auto onReply = [weak](void (Exchange::*step)()) {
            return [weak, step] {
                if (const auto self = weak.lock()) (self.get()->*step)();
            };
        };
        QObject::connect(m_reply, &QNetworkReply::finished, &m_receiver,
                         onReply(&Exchange::finish));
        QObject::connect(m_reply, &QNetworkReply::readyRead, &m_receiver,
                         onReply(&Exchange::bytesCame));
        startLimit();
    }

    void cancel() {
        m_completion = nullptr;
        m_limit.cancel();
        release();
    }

private:
    void startLimit() {
        m_limit = m_delay(m_timeout, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) self->timeOut();
        });
    }
    /// Status and headers; the status is 0 before they are there.
    [[nodiscard]] HttpResponse answered() const {
        const auto status = m_reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
        return {status.toInt(), {}, m_reply->rawHeaderPairs()};
    }
    void finish() {
        const auto self = shared_from_this(); // the callback may destroy the handle
        if (m_piece && !passOn()) return;
        const QNetworkReply::NetworkError code = m_reply->error();
        HttpResponse response = answered();
        if (response.status != 0 && (code == QNetworkReply::NoError || isStatusError(code))) {
            response.body = m_reply->readAll();
            complete(std::move(response));
        } else {
            complete(tl::unexpected(describe(code, m_reply->errorString(), m_reply->url())));
        }
    }
    void bytesCame() {
        const auto self = shared_from_this();
        if (m_piece) {
            if (passOn()) startLimit();
            return;
        }
        if (m_reply->bytesAvailable() <= QtHttpClient::largestBody) return;
        complete(tl::unexpected(HttpError{QStringLiteral("The answer is too large."),
                                          QStringLiteral("QNetworkReply"),
                                          QNetworkReply::UnknownContentError}));
    }
    /// Passes on the data received of a stream; false when the transfer was ended.
    [[nodiscard]] bool passOn() {
        const HttpResponse response = answered();
        if (response.status == 0) return true; // no answer yet
        bool wanted = !m_head || std::exchange(m_head, nullptr)(response);
        while (wanted && m_completion && m_reply && m_reply->bytesAvailable() > 0)
            wanted = m_piece(m_reply->read(streamBuffer));
        if (!wanted) complete(tl::unexpected(QtHttpClient::brokenOff()));
        return m_completion && m_reply;
    }
    void timeOut() {
        if (!m_reply) return; // the client is gone
        complete(tl::unexpected(HttpError{QStringLiteral("The request timed out."),
                                          QStringLiteral("QNetworkReply"),
                                          QNetworkReply::TimeoutError, NetworkFailure::timedOut}));
    }

    void complete(HttpResult result) {
        m_limit.cancel();
        release();
        const auto completion = std::exchange(m_completion, nullptr);
        if (completion) completion(std::move(result));
    }
    void release() {
        if (!m_reply) return;
        // Disconnect only our own connections: Qt's abort relies on signals of the reply.
        m_reply->disconnect(&m_receiver);
        if (!m_reply->isFinished()) m_reply->abort();
        m_reply->deleteLater();
        m_reply.clear();
    }

    QObject m_receiver;
    QPointer<QNetworkReply> m_reply;
    std::function<bool(const HttpResponse&)> m_head; ///< null once called
    std::function<bool(const QByteArray&)> m_piece;  ///< streams only
    double m_timeout;
    Delay m_delay;
    std::function<void(HttpResult)> m_completion;
    ScheduledWork m_limit;
};

/// The caller's handle: destroying it cancels the exchange.
class Handle : public HttpTask {
public:
    explicit Handle(std::shared_ptr<Exchange> exchange)
        : m_exchange(std::move(exchange)) {}
    ~Handle() override { m_exchange->cancel(); }
    void cancel() override { m_exchange->cancel(); }

private:
    std::shared_ptr<Exchange> m_exchange;
};

} // namespace

QtHttpClient::QtHttpClient(Delay delay)
    : m_delay(std::move(delay)) {}

QtHttpClient::~QtHttpClient() = default;

bool QtHttpClient::isLoopback(const QString& host) {
    return host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0 ||
           QHostAddress(host).isLoopback();
}

HttpError QtHttpClient::brokenOff() {
    return {QStringLiteral("The transfer was broken off."), QStringLiteral("QNetworkReply"),
            QNetworkReply::OperationCanceledError};
}

std::unique_ptr<HttpTask> QtHttpClient::send(const HttpRequest& request,
                                             std::function<void(HttpResult)> completion) {
    if (!m_network) {
        m_network = std::make_unique<QNetworkAccessManager>();
        m_network->setProxyFactory(new ProxyOutsideLoopback); // the manager owns it
    }
    auto exchange = std::make_shared<Exchange>(start(*m_network, request), request, m_delay,
                                               std::move(completion));
    exchange->begin();
    return std::make_unique<Handle>(std::move(exchange));
}

} // namespace murlo
