#include "backend/AccountClient.h"

#include "MurloKit/Dates.h"
#include "backend/Replies.h"
#include "platform/Scheduler.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace murlo {

namespace {

constexpr double usualTimeout = 15; // seconds

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

/// A request that fails without being sent.
class Refusal : public HttpTask {
public:
    /// `tell` is called on a later turn, unless the handle is gone or cancelled by then.
    Refusal(Scheduler& scheduler, Work tell)
        : m_telling(scheduler.after(0, std::move(tell))) {}
    void cancel() override { m_telling.cancel(); }

private:
    ScheduledWork m_telling;
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
    const auto refuse = [&](const AccountError& error) {
        return std::make_unique<Refusal>(
            m_with.scheduler, [done = call.done, error] { done(tl::unexpected(error)); });
    };
    if (m_baseURL.isEmpty())
        return refuse(networkError(QStringLiteral("no usable backend is configured")));
    if (call.authorised && key.state == KeyAnswer::unavailable)
        return refuse(networkError(QStringLiteral("the keyring does not answer")));
    if (call.authorised && key.state == KeyAnswer::absent) {
        AccountError error;
        error.kind = AccountError::unauthorized;
        return refuse(error);
    }
    return m_with.http.send(
        request, [done = std::move(call.done), sentKey = key.key](const HttpResult& result) {
            done(bodyOf(result, sentKey));
        });
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
