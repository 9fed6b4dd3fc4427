#include "backend/AccountClient.h"

#include "MurloKit/Dates.h"
#include "backend/Replies.h"
#include "platform/LocalService.h"
#include "platform/Scheduler.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>

namespace murlo {

namespace {

constexpr double usualTimeout = 15; // seconds
constexpr quint16 httpPort = 80;

template <typename Records>
QJsonArray arrayOf(const Records& records) {
    QJsonArray array;
    for (const auto& record : records) array.append(record.toJson());
    return array;
}

QByteArray bytesOf(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

AccountError networkError(const QString& words) {
    AccountError error;
    error.transport = words;
    return error;
}

/// Status 200's body, or the error that the response stands for.
tl::expected<QByteArray, AccountError> bodyOf(const HttpResult& result, const QString& sentKey) {
    if (!result) return tl::unexpected(networkError(result.error().description));
    if (result->status == 200) return result->body;
    AccountError error;
    error.status = result->status;
    error.kind = result->status == 401 ? AccountError::unauthorized : AccountError::server;
    if (error.kind == AccountError::unauthorized) error.sentKey = sentKey;
    return tl::unexpected(error);
}

/// A completion that hands on what `decode` reads in the body.
template <typename Result, typename Decode>
auto decoding(AccountClient::Answer<Result> done, Decode decode) {
    return [done = std::move(done), decode](const tl::expected<QByteArray, AccountError>& body) {
        if (!body) {
            done(tl::unexpected(body.error()));
            return;
        }
        auto result = decode(*body);
        if (!result) {
            AccountError error;
            error.kind = AccountError::undecodable;
            done(tl::unexpected(error));
            return;
        }
        done(std::move(*result));
    };
}

/// A completion for operations without a result.
auto ignoringBody(AccountClient::Answer<void> done) {
    return [done = std::move(done)](const tl::expected<QByteArray, AccountError>& body) {
        if (body)
            done({});
        else
            done(tl::unexpected(body.error()));
    };
}

auto member(const QString& name) {
    return [name](const QByteArray& body) { return Replies::text(body, name); };
}

} // namespace

/// One operation, ready to be sent.
struct AccountClient::Call {
    QByteArray method;
    QString path;
    bool authorised = false;
    QByteArray body;
    std::function<void(const tl::expected<QByteArray, AccountError>&)> done;
    double timeout = usualTimeout;
};

namespace {

/// One request under way. Before it is sent, the local backend may have to be started.
class Attempt : public HttpTask, public std::enable_shared_from_this<Attempt> {
public:
    using Done = std::function<void(const tl::expected<QByteArray, AccountError>&)>;

    Attempt(const AccountClient::Partners& with, HttpRequest request, QString key, Done done)
        : m_with(with)
        , m_request(std::move(request))
        , m_key(std::move(key))
        , m_done(std::move(done)) {}

    void fail(const AccountError& error) {
        m_with.scheduler.nextTurn([weak = weak_from_this(), error] {
            if (const auto self = weak.lock()) self->complete(tl::unexpected(error));
        });
    }
    /// Sends it, but to a backend of this computer only if that is the user's own.
    void begin() {
        if (!QHostAddress(m_request.url.host()).isLoopback()) {
            send();
            return;
        }
        const auto port = static_cast<quint16>(m_request.url.port(httpPort));
        const auto listener = m_with.local.listener(port);
        if (listener != LocalService::Listener::nobody) {
            sendTo(listener);
            return;
        }
        m_with.local.start(port, [weak = weak_from_this()](LocalService::Listener started) {
            if (const auto self = weak.lock()) self->sendTo(started);
        });
    }
    void cancel() override {
        m_done = nullptr;
        m_task.reset();
    }

private:
    void sendTo(LocalService::Listener listener) {
        if (!m_done) return;
        if (listener == LocalService::Listener::self)
            send();
        else if (listener == LocalService::Listener::stranger)
            fail(networkError(QStringLiteral("another user of this computer has its port")));
        else
            fail(networkError(QStringLiteral("no backend runs on this computer")));
    }
    void send() {
        m_task = m_with.http.send(m_request, [weak = weak_from_this()](const HttpResult& result) {
            if (const auto self = weak.lock()) self->complete(bodyOf(result, self->m_key));
        });
    }
    void complete(const tl::expected<QByteArray, AccountError>& result) {
        if (const auto done = std::exchange(m_done, nullptr)) done(result);
    }

    AccountClient::Partners m_with;
    HttpRequest m_request;
    QString m_key; ///< that it carries
    Done m_done;   ///< null once answered or cancelled
    std::unique_ptr<HttpTask> m_task;
};

/// The caller's handle: destroying it cancels the attempt.
class Handle : public HttpTask {
public:
    explicit Handle(std::shared_ptr<Attempt> attempt)
        : m_attempt(std::move(attempt)) {}
    ~Handle() override { m_attempt->cancel(); }
    void cancel() override { m_attempt->cancel(); }

private:
    std::shared_ptr<Attempt> m_attempt;
};

} // namespace

AccountClient::AccountClient(const Partners& with, QUrl baseURL, QString appVersion)
    : m_with(with)
    , m_baseURL(std::move(baseURL))
    , m_appVersion(std::move(appVersion)) {}

AccountClient::Request AccountClient::perform(Call call) {
    HttpRequest request;
    request.method = call.method;
    request.url = m_baseURL.adjusted(QUrl::StripTrailingSlash);
    request.url.setPath(request.url.path() + call.path);
    request.headers = {{"Content-Type", "application/json"}};
    request.body = call.body;
    request.timeout = call.timeout;
    const KeyAnswer key = call.authorised && apiKey ? apiKey() : KeyAnswer();
    if (call.authorised && key.state == KeyAnswer::present)
        request.headers.append({"Authorization", "Bearer " + key.key.toUtf8()});
    auto attempt = std::make_shared<Attempt>(m_with, request, key.key, std::move(call.done));
    if (m_baseURL.isEmpty()) {
        attempt->fail(networkError(QStringLiteral("no usable backend is configured")));
    } else if (call.authorised && key.state == KeyAnswer::absent) {
        AccountError error;
        error.kind = AccountError::unauthorized;
        attempt->fail(error);
    } else if (call.authorised && key.state == KeyAnswer::unavailable) {
        attempt->fail(networkError(QStringLiteral("the keyring does not answer")));
    } else {
        attempt->begin();
    }
    return std::make_unique<Handle>(std::move(attempt));
}

AccountClient::Request AccountClient::signup(const QString& idToken, Answer<QString> done) {
    return perform({"POST", QStringLiteral("/signup"), false,
                    bytesOf({{QStringLiteral("idToken"), idToken}}),
                    decoding(std::move(done), member(QStringLiteral("apiKey")))});
}

AccountClient::Request AccountClient::upload(const QList<UsageEvent>& events, Answer<int> done) {
    return perform({"POST", QStringLiteral("/events"), true,
                    bytesOf({{QStringLiteral("events"), arrayOf(events)}}),
                    decoding(std::move(done), Replies::accepted)});
}

AccountClient::Request AccountClient::uploadErrors(const QList<ErrorReport>& errors,
                                                   Answer<int> done) {
    return perform({"POST", QStringLiteral("/errors"), true,
                    bytesOf({{QStringLiteral("errors"), arrayOf(errors)}}),
                    decoding(std::move(done), Replies::accepted)});
}

AccountClient::Request AccountClient::fetchSettings(Answer<std::optional<QByteArray>> done) {
    return perform({"GET",
                    QStringLiteral("/settings"),
                    true,
                    {},
                    decoding(std::move(done), Replies::settings)});
}

AccountClient::Request AccountClient::pushSettings(const QByteArray& settings, Answer<void> done) {
    return perform({"PUT", QStringLiteral("/settings"), true, "{\"settings\":" + settings + "}",
                    ignoringBody(std::move(done))});
}

AccountClient::Request AccountClient::polish(const QString& text,
                                             const std::optional<QString>& targetApp,
                                             double timeout, Answer<QString> done) {
    QJsonObject body{{QStringLiteral("text"), text}};
    if (targetApp) body.insert(QStringLiteral("targetApp"), *targetApp);
    return perform({"POST", QStringLiteral("/polish"), true, bytesOf(body),
                    decoding(std::move(done), member(QStringLiteral("text"))), timeout});
}

AccountClient::Request AccountClient::fetchRelease(Answer<ReleaseInfo> done) {
    return perform({"GET",
                    QStringLiteral("/version"),
                    false,
                    {},
                    decoding(std::move(done), Replies::release)});
}

AccountClient::Request AccountClient::funnel(const QString& installId, const QString& stage,
                                             Answer<void> done) {
    QJsonObject body{{QStringLiteral("installId"), installId},
                     {QStringLiteral("stage"), stage},
                     {QStringLiteral("clientTs"), isoSeconds(m_with.scheduler.now())}};
    if (!m_appVersion.isEmpty()) body.insert(QStringLiteral("appVersion"), m_appVersion);
    return perform(
        {"POST", QStringLiteral("/funnel"), false, bytesOf(body), ignoringBody(std::move(done))});
}

} // namespace murlo
