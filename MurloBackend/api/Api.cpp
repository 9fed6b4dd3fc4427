#include "Api.h"

#include "MurloBackend/api/Bodies.h"
#include "MurloBackend/api/JsonReplies.h"

#include <algorithm>

namespace murlo::backend {

using store::Failed;
using store::Stored;

namespace {

Reply unauthorised(const QByteArray& reason) {
    Reply reply = problem(401, reason);
    reply.headers.emplaceBack("WWW-Authenticate", "Bearer");
    return reply;
}

Reply tooMany(int seconds) {
    Reply reply = problem(429, "too many requests");
    reply.headers.emplaceBack("Retry-After", QByteArray::number(seconds));
    return reply;
}

/// The key of "Authorization: Bearer KEY"; empty without one.
QString keyOf(const Request& request) {
    const QByteArray value = request.header("authorization");
    constexpr QByteArrayView scheme("bearer ");
    if (QByteArrayView(value)
            .first(std::min(scheme.size(), value.size()))
            .compare(scheme, Qt::CaseInsensitive) != 0)
        return {};
    return QString::fromUtf8(value.mid(scheme.size()).trimmed());
}

bool isJson(const Request& request) {
    const QByteArray type = request.header("content-type").split(';').first().trimmed();
    return type.compare("application/json", Qt::CaseInsensitive) == 0;
}

} // namespace

Api::Api(ApiOptions options, Workers& workers, IdTokenVerifier& verifier, Polisher& polisher,
         Clock clock)
    : m_options(std::move(options))
    , m_workers(workers)
    , m_verifier(verifier)
    , m_polisher(polisher)
    , m_clock(std::move(clock))
    , m_accounts(m_options.accountRate)
    , m_peers(m_options.peerRate)
    , m_release(m_options.releaseFile, m_options.version) {
    addRoutes();
    addRecords();
    addSettings();
}

QByteArray Api::callerOf(const Request& request, const QByteArray& peer) const {
    if (!m_options.proxyTrust) return peer;
    // What the proxy itself has added is the last; the rest is what clients claim.
    const QByteArrayList forwarded = request.list("x-forwarded-for");
    return forwarded.isEmpty() || forwarded.last().isEmpty() ? peer : forwarded.last().left(64);
}

void Api::handle(const Request& request, const QByteArray& peer, const Respond& respond) {
    const QByteArray caller = callerOf(request, peer);
    if (const auto wait = m_peers.take(caller, m_clock()))
        respond(tooMany(*wait));
    else
        m_router.route(request, caller, respond);
}

void Api::inDatabase(bool writes, std::function<Stored<Reply>(Connection&)> work,
                     const Respond& respond) {
    const auto reply = std::make_shared<Reply>();
    m_workers.post({[reply, work = std::move(work)](Connection& connection) {
                        auto made = work(connection);
                        if (!made) return false;
                        *reply = std::move(*made);
                        return true;
                    },
                    [reply, respond](bool done) {
                        respond(done ? std::move(*reply)
                                     : problem(503, "the database is not available"));
                    },
                    writes});
}

void Api::asAccount(const Request& request, bool writes, Authorised work, const Respond& respond) {
    const QString key = keyOf(request);
    if (key.isEmpty()) {
        respond(unauthorised("a key is needed"));
        return;
    }
    // The account's own limit is asked once, also if the work has to be done again.
    const auto verdict = std::make_shared<std::optional<std::optional<int>>>();
    inDatabase(
        writes,
        [this, key, verdict, work = std::move(work)](Connection& connection) -> Stored<Reply> {
            const auto account = store::accountOf(connection, key);
            if (!account) return tl::unexpected(Failed{});
            if (!*account) return unauthorised("this key is not valid");
            if (!*verdict) *verdict = m_accounts.take(QByteArray::number(**account), m_clock());
            if (**verdict) return tooMany(***verdict);
            return work(connection, **account);
        },
        respond);
}

void Api::signUp(const Request& request, const Respond& respond) {
    const auto token = bodies::idToken(request.body);
    if (!token) {
        respond(problem(400, "the body is not {'idToken':…}"));
        return;
    }
    m_verifier.verify(*token, [this, token = *token,
                               respond](tl::expected<Identity, TokenFault> verified) {
        if (!verified) {
            respond(verified.error() == TokenFault::refused
                        ? unauthorised("the ID token is refused")
                        : problem(503, "the identity provider cannot be reached"));
            return;
        }
        Identity person = *verified;
        if (m_options.oneAccount) {
            person.issuer = QStringLiteral("local");
            person.subject = QStringLiteral("local");
        }
        const QString key = store::newKey();
        inDatabase(
            true,
            [person, key, token, live = m_options.keysPerAccount](Connection& c) -> Stored<Reply> {
                const auto made = store::signUp(c, person, key, QString::fromLatin1(token), live);
                if (!made) return tl::unexpected(made.error());
                return json({{QStringLiteral("apiKey"), key}});
            },
            respond);
    });
}

void Api::polish(const Request& request, const Respond& respond) {
    asAccount(
        request, false, [](Connection&, qint64) -> Stored<Reply> { return Reply{}; },
        [this, body = request.body, respond](const Reply& verdict) {
            if (verdict.status != 200) {
                respond(verdict);
                return;
            }
            const auto asked = bodies::polishRequest(body);
            if (!asked) {
                respond(problem(
                    400, "the body is not {'text':…,'targetApp':…}, or its text is too long"));
                return;
            }
            m_polisher.polish(asked->text, asked->targetApp,
                              [respond](tl::expected<QString, int> text) {
                                  respond(text ? json({{QStringLiteral("text"), *text}})
                                               : problem(text.error(), "there is no better text"));
                              });
        });
}

void Api::addJson(const QByteArray& method, const QString& path, JsonHandler handler) {
    m_router.add(method, path,
                 [handler = std::move(handler)](const Request& request, const QByteArray&,
                                                const Respond& respond) {
                     if (isJson(request))
                         handler(request, respond);
                     else
                         respond(problem(415, "the body has to be application/json"));
                 });
}

void Api::health(const Respond& respond) {
    inDatabase(
        false,
        [](Connection& connection) -> Stored<Reply> {
            if (!connection.select(QStringLiteral("SELECT 1"))) return tl::unexpected(Failed{});
            return json({{QStringLiteral("status"), QStringLiteral("ok")}});
        },
        respond);
}

void Api::addRoutes() {
    addJson("POST", QStringLiteral("/signup"),
            [this](const auto& request, const auto& respond) { signUp(request, respond); });
    addJson("POST", QStringLiteral("/polish"),
            [this](const auto& request, const auto& respond) { polish(request, respond); });
    m_router.add("GET", QStringLiteral("/version"),
                 [this](const Request&, const QByteArray&, const Respond& respond) {
                     Reply reply;
                     reply.body = m_release.record();
                     respond(reply);
                 });
    m_router.add(
        "GET", QStringLiteral("/health"),
        [this](const Request&, const QByteArray&, const Respond& respond) { health(respond); });
}

} // namespace murlo::backend
