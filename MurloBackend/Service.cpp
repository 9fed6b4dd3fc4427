#include "Service.h"

#include "MurloBackend/api/Api.h"
#include "MurloBackend/http/HttpServer.h"
#include "MurloBackend/http/OpenFiles.h"
#include "MurloBackend/identity/IssuerVerifier.h"
#include "MurloBackend/identity/LocalProvider.h"
#include "MurloBackend/outgoing/NetworkOutgoing.h"
#include "MurloBackend/polish/RemotePolisher.h"
#include "MurloBackend/polish/RulePolisher.h"

#include <QDateTime>
#include <QFileInfo>

#include <unistd.h>

namespace murlo::backend {

namespace {

qint64 secondsNow() {
    return QDateTime::currentSecsSinceEpoch();
}

} // namespace

/// Ended from the bottom: answers may come from the database's threads and the network's until
/// these have ended, and need what is above them.
struct Service::Parts {
    std::unique_ptr<HttpServer> server;
    std::unique_ptr<LocalProvider> provider;
    std::unique_ptr<IdTokenVerifier> verifier;
    std::unique_ptr<Polisher> polisher;
    std::unique_ptr<Api> api;
    std::unique_ptr<Workers> workers;
    std::unique_ptr<Outgoing> outgoing;
};

Service::Service(Configuration configuration, int inheritedSocket)
    : m_configuration(std::move(configuration))
    , m_inheritedSocket(inheritedSocket)
    , m_parts(std::make_unique<Parts>()) {}

Service::~Service() {
    stop();
}

tl::expected<Endpoint, QString> Service::start() {
    const auto database = DatabaseAddress::parse(m_configuration.database);
    if (!database) return tl::unexpected(QStringLiteral("\"database\" is no address"));
    m_parts->workers = std::make_unique<Workers>(*database, m_configuration.threads);
    const QString fault = m_parts->workers->start();
    if (!fault.isEmpty())
        return tl::unexpected(QStringLiteral("the database cannot be used: %1").arg(fault));

    m_parts->server = std::make_unique<HttpServer>(
        httpOptions(),
        [this](const Request& request, const QByteArray& peer, const Respond& respond) {
            m_parts->api->handle(request, peer, respond);
        });
    auto own = m_parts->server->listen();
    if (!own)
        return tl::unexpected(QStringLiteral("%1 port %2 cannot be listened on: %3")
                                  .arg(m_configuration.listen)
                                  .arg(m_configuration.port)
                                  .arg(own.error()));
    if (m_configuration.isLocal() && !own->address.isLoopback())
        return tl::unexpected(QStringLiteral("the service manager's socket is open to others, and "
                                             "the configuration is that of a server of this "
                                             "computer alone"));
    m_parts->outgoing = std::make_unique<NetworkOutgoing>();
    makeVerifier(*own);
    makePolisher();
    m_parts->api = std::make_unique<Api>(apiOptions(), *m_parts->workers, *m_parts->verifier,
                                         *m_parts->polisher, &std::chrono::steady_clock::now);
    if (m_parts->provider) {
        const auto page = [provider = m_parts->provider.get()](
                              const Request& request, const QByteArray&, const Respond& respond) {
            provider->handle(request, respond);
        };
        m_parts->api->router().add("GET", QStringLiteral("/o/oauth2/v2/auth"), page);
        m_parts->api->router().add("POST", QStringLiteral("/o/oauth2/v2/auth"), page);
        m_parts->api->router().add("POST", QStringLiteral("/token"), page);
    }
    m_parts->server->run();
    return own;
}

void Service::makeVerifier(const Endpoint& own) {
    if (!m_configuration.signsInLocally()) {
        IssuerOptions issuer{m_configuration.issuer, m_configuration.audience, {}};
        if (!m_configuration.jwksUrl.isEmpty()) issuer.jwksUrl = QUrl(m_configuration.jwksUrl);
        m_parts->verifier = makeIssuerVerifier(issuer, *m_parts->outgoing, secondsNow);
        return;
    }
    const bool isIPv6 = own.address.protocol() == QAbstractSocket::IPv6Protocol;
    LocalProviderOptions local;
    local.issuer = (isIPv6 ? QStringLiteral("http://[%1]:%2") : QStringLiteral("http://%1:%2"))
                       .arg(own.address.toString())
                       .arg(own.port);
    local.clientIdentifier = m_configuration.clientId;
    local.redirectURI = m_configuration.redirectUri;
    local.loginName = qEnvironmentVariable("USER");
    local.remotePolish = !m_configuration.polishUrl.isEmpty();
    // Beside the database's file, whose folder is this user's alone. With PostgreSQL where that
    // file would be by default: the page, and so its key, belongs to this computer and not to what
    // the database is shared with.
    const auto database = DatabaseAddress::parse(m_configuration.database);
    const QString file =
        database && !database->isPostgres ? database->path : DatabaseAddress::usualFile();
    local.keyFile = QFileInfo(file).absolutePath() + QStringLiteral("/sign-in-key.pem");
    m_parts->provider = std::make_unique<LocalProvider>(local, secondsNow);
    m_parts->verifier = m_parts->provider->verifier();
}

void Service::makePolisher() {
    if (m_configuration.polishUrl.isEmpty()) {
        m_parts->polisher = makeRulePolisher();
        return;
    }
    m_parts->polisher =
        makeRemotePolisher({QUrl(m_configuration.polishUrl), m_configuration.polishKey,
                            m_configuration.polishModel, m_configuration.polishTimeout},
                           *m_parts->outgoing);
}

ApiOptions Service::apiOptions() const {
    ApiOptions api;
    api.keysPerAccount = m_configuration.keysPerAccount;
    api.accountRate = m_configuration.accountRate;
    api.peerRate = m_configuration.peerRate;
    api.proxyTrust = m_configuration.proxyTrust;
    api.oneAccount = m_configuration.signsInLocally();
    api.releaseFile = m_configuration.releaseFile;
    api.version = QStringLiteral(MURLO_VERSION);
    return api;
}

HttpOptions Service::httpOptions() const {
    constexpr int beyondPolishing = 15; // seconds for everything else that an answer needs
    HttpOptions http;
    http.address = QHostAddress(m_configuration.listen);
    http.port = m_configuration.port;
    http.inheritedSocket = m_inheritedSocket;
    if (m_configuration.isLocal()) http.onlyUser = ::getuid();
    http.threads = m_configuration.threads;
    http.bodyLimit = m_configuration.bodyLimit;
    // Those that are on their way out, other servers, and an SQLite file's three for each thread.
    const int otherFiles = 128 + 4 * m_configuration.threads;
    http.connections = affordableConnections(m_configuration.connections, otherFiles);
    http.readLimit = std::chrono::seconds(m_configuration.readTimeout);
    http.handleLimit =
        std::chrono::seconds(static_cast<int>(m_configuration.polishTimeout) + beyondPolishing);
    return http;
}

void Service::stop() {
    constexpr std::chrono::seconds patience(5);
    if (m_parts->server) m_parts->server->stop(patience);
    if (m_parts->workers) m_parts->workers->stop(); // what was waiting may still ask other servers
    m_parts->outgoing.reset();                      // completes what is under way
}

std::chrono::steady_clock::duration Service::quietFor() const {
    return m_parts->server->quietFor();
}

} // namespace murlo::backend
