#include "Service.h"

#include "MurloBackend/StandIns.h"
#include "MurloBackend/api/Api.h"
#include "MurloBackend/http/HttpServer.h"

#include <unistd.h>

namespace murlo::backend {

/// In the order in which they need one another: what is below uses what is above.
struct Service::Parts {
    std::unique_ptr<IdTokenVerifier> verifier;
    std::unique_ptr<Polisher> polisher;
    std::unique_ptr<Workers> workers;
    std::unique_ptr<Api> api;
    std::unique_ptr<HttpServer> server;
};

Service::Service(Configuration configuration, int inheritedSocket)
    : m_configuration(std::move(configuration))
    , m_inheritedSocket(inheritedSocket)
    , m_parts(std::make_unique<Parts>()) {}

Service::~Service() {
    stop();
}

tl::expected<Endpoint, QString> Service::start() {
    const auto address = DatabaseAddress::parse(m_configuration.database);
    if (!address) return tl::unexpected(QStringLiteral("\"database\" is no address."));
    m_parts->workers = std::make_unique<Workers>(*address, m_configuration.threads);
    const QString fault = m_parts->workers->start();
    if (!fault.isEmpty())
        return tl::unexpected(QStringLiteral("the database cannot be used: %1").arg(fault));
    m_parts->verifier = makeStandInVerifier();
    m_parts->polisher = makeStandInPolisher();

    ApiOptions api;
    api.keysPerAccount = m_configuration.keysPerAccount;
    api.accountRate = m_configuration.accountRate;
    api.peerRate = m_configuration.peerRate;
    api.proxyTrust = m_configuration.proxyTrust;
    api.oneAccount = m_configuration.signsInLocally();
    api.releaseFile = m_configuration.releaseFile;
    api.version = QStringLiteral(MURLO_VERSION);
    m_parts->api = std::make_unique<Api>(api, *m_parts->workers, *m_parts->verifier,
                                         *m_parts->polisher, &std::chrono::steady_clock::now);

    HttpOptions http;
    http.address = QHostAddress(m_configuration.listen);
    http.port = m_configuration.port;
    http.inheritedSocket = m_inheritedSocket;
    if (m_configuration.isLocal()) http.onlyUser = ::getuid();
    http.threads = m_configuration.threads;
    http.bodyLimit = m_configuration.bodyLimit;
    http.connections = m_configuration.connections;
    http.readLimit = std::chrono::seconds(m_configuration.readTimeout);
    constexpr int beyondPolishing = 15; // seconds for everything else that an answer needs
    http.handleLimit =
        std::chrono::seconds(static_cast<int>(m_configuration.polishTimeout) + beyondPolishing);
    m_parts->server = std::make_unique<HttpServer>(
        http, [api = m_parts->api.get()](const Request& request, const QByteArray& peer,
                                         const Respond& respond) {
            api->handle(request, peer, respond);
        });
    const auto own = m_parts->server->start();
    if (!own)
        return tl::unexpected(QStringLiteral("%1 port %2 cannot be listened on: %3")
                                  .arg(m_configuration.listen)
                                  .arg(m_configuration.port)
                                  .arg(own.error()));
    return own;
}

void Service::stop() {
    constexpr std::chrono::seconds patience(5);
    if (m_parts->server) m_parts->server->stop(patience);
    if (m_parts->workers) m_parts->workers->stop();
}

std::chrono::steady_clock::duration Service::quietFor() const {
    return m_parts->server->quietFor();
}

} // namespace murlo::backend
