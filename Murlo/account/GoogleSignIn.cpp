#include "account/GoogleSignIn.h"

#include "account/Awaited.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QUrlQuery>

namespace murlo {

namespace {

constexpr double tokenTimeout = 60; // seconds

using Fields = QList<std::pair<QString, QString>>;
/// A code from the browser, or the reason why none comes.
using Code = tl::expected<QString, SignInError>;

/// Names and values joined by "=" and "&". The values keep what may stand in a query as it is, but
/// "+", "&" and "=".
QByteArray encoded(const Fields& fields) {
    QByteArrayList pairs;
    for (const auto& [name, value] : fields)
        pairs.append(name.toUtf8() + '=' + QUrl::toPercentEncoding(value, "!$'()*,;:@/?"));
    return pairs.join('&');
}

Code codeIn(const QUrl& callback) {
    const QUrlQuery query(callback);
    const QString code = QStringLiteral("code");
    if (!query.hasQueryItem(code)) return tl::unexpected(SignInError{SignInError::badResponse, {}});
    return query.queryItemValue(code, QUrl::FullyDecoded);
}

QJsonObject objectIn(const HttpResult& reply) {
    return reply ? QJsonDocument::fromJson(reply->body).object() : QJsonObject();
}

/// Whether the provider does not know the code (RFC 6749, 5.2), or not with this verifier.
bool isRefusal(const HttpResult& reply) {
    return objectIn(reply).value(QStringLiteral("error")) == QLatin1String("invalid_grant");
}

GoogleSignIn::Result identityIn(const HttpResult& reply) {
    if (!reply)
        return tl::unexpected(SignInError{SignInError::transport, reply.error().description});
    const QString token = objectIn(reply).value(QStringLiteral("id_token")).toString();
    const auto payload = IDTokenPayload::decode(token);
    if (!payload) return tl::unexpected(SignInError{SignInError::badResponse, {}});
    return SignedInIdentity{token, *payload};
}

} // namespace

/// One sign-in, shared by the coroutine and by those whom it waits for.
struct GoogleSignIn::Attempt {
    std::optional<Code> newest;            ///< from the browser, not looked at yet
    std::function<void()> arrived;         ///< settles the waiting for one
    std::function<void()> breakOff;        ///< settles the token endpoint's answer
    std::unique_ptr<HttpTask> request;     ///< to the token endpoint
    std::optional<SignInError> ended = {}; ///< the visit is over

    void take(Code code) {
        newest = std::move(code);
        if (arrived) arrived();
    }
};

GoogleSignIn::GoogleSignIn(BrowserSession& session, HttpClient& http, const BackendConfig& config,
                           std::function<PKCE()> makePKCE)
    : m_session(session)
    , m_http(http)
    , m_config(config)
    , m_makePKCE(std::move(makePKCE)) {}

GoogleSignIn::~GoogleSignIn() {
    cancel();
}

void GoogleSignIn::cancel() {
    m_session.cancel();
}

QCoro::Task<GoogleSignIn::Result> GoogleSignIn::start() {
    const auto attempt = std::make_shared<Attempt>();
    const PKCE pkce = m_makePKCE();
    openBrowser(attempt, authorizationURL(pkce));
    for (;;) {
        if (!attempt->newest) {
            const Awaited<bool> arrival;
            attempt->arrived = [settle = arrival.settle()] { settle(true); };
            static_cast<void>(co_await arrival);
        }
        const Code came = *std::exchange(attempt->newest, std::nullopt);
        if (!came) co_return finished(attempt, tl::unexpected(came.error()));
        Awaited<HttpResult> answer;
        attempt->breakOff = [settle = answer.settle()] { settle(tl::unexpected(HttpError())); };
        attempt->request = m_http.send(tokenRequest(*came, pkce), answer.settle());
        const HttpResult reply = co_await answer;
        // From here on this object is only used if the visit was not ended from outside.
        if (attempt->ended) co_return tl::unexpected(*attempt->ended);
        const Result identity = identityIn(reply);
        // A refused code may be another page's, of an earlier visit or a forged one: the page that
        // was opened last can still answer. Its code may have come meanwhile.
        if (identity || !(attempt->newest || isRefusal(reply)))
            co_return finished(attempt, identity);
    }
}

/// Ends the visit, if it is not over, with its result.
GoogleSignIn::Result GoogleSignIn::finished(const std::shared_ptr<Attempt>& attempt,
                                            Result result) {
    if (!attempt->ended) m_session.finish();
    return result;
}

void GoogleSignIn::openBrowser(const std::shared_ptr<Attempt>& attempt, const QUrl& page) {
    m_session.start(
        page, m_config.redirectURI(), [attempt](const QUrl& url) { attempt->take(codeIn(url)); },
        [attempt](const SignInError& why) {
            attempt->ended = why;
            attempt->request.reset();
            attempt->take(tl::unexpected(why));
            if (attempt->breakOff) attempt->breakOff();
        });
}

QUrl GoogleSignIn::authorizationURL(const PKCE& pkce) const {
    QUrl url = m_config.authorizationEndpoint;
    url.setQuery(QString::fromLatin1(
        encoded({{QStringLiteral("client_id"), m_config.clientIdentifier},
                 {QStringLiteral("redirect_uri"), m_config.redirectURI()},
                 {QStringLiteral("response_type"), QStringLiteral("code")},
                 {QStringLiteral("scope"), QStringLiteral("openid email profile")},
                 {QStringLiteral("code_challenge"), pkce.challenge},
                 {QStringLiteral("code_challenge_method"), QStringLiteral("S256")}})));
    return url;
}

HttpRequest GoogleSignIn::tokenRequest(const QString& code, const PKCE& pkce) const {
    HttpRequest request;
    request.method = "POST";
    request.url = m_config.tokenEndpoint;
    request.headers = {{"Content-Type", "application/x-www-form-urlencoded"}};
    request.body = encoded({{QStringLiteral("client_id"), m_config.clientIdentifier},
                            {QStringLiteral("code"), code},
                            {QStringLiteral("code_verifier"), pkce.verifier},
                            {QStringLiteral("grant_type"), QStringLiteral("authorization_code")},
                            {QStringLiteral("redirect_uri"), m_config.redirectURI()}});
    request.timeout = tokenTimeout;
    return request;
}

} // namespace murlo
