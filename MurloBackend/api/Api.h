#pragma once

#include "MurloBackend/api/ReleaseFile.h"
#include "MurloBackend/api/Router.h"
#include "MurloBackend/http/RateLimiter.h"
#include "MurloBackend/identity/Identity.h"
#include "MurloBackend/polish/Polisher.h"
#include "MurloBackend/store/Store.h"
#include "MurloBackend/store/Workers.h"

namespace murlo::backend {

/// How the endpoints behave.
struct ApiOptions {
    int keysPerAccount = 5;
    int accountRate = 50;    ///< requests per second; 0: no limit
    int peerRate = 200;      ///< the same
    bool proxyTrust = false; ///< the peer is the last that X-Forwarded-For names
    bool oneAccount = false; ///< whoever signs up gets the same account
    QString releaseFile;     ///< or empty
    QString version;         ///< of this server
};

/// The endpoints that Murlo's clients use. A failed database is answered with 503.
class Api {
public:
    /// Reads a clock that never goes back. Any thread.
    using Clock = std::function<RateLimiter::Time()>;

    /// All of them outlive the endpoints and what is under way.
    Api(ApiOptions options, Workers& workers, IdTokenVerifier& verifier, Polisher& polisher,
        Clock clock);

    /// Further paths are added here before the first request.
    [[nodiscard]] Router& router() { return m_router; }

    /// Answers a request. Any thread; blocks neither on the database nor on other servers.
    void handle(const Request& request, const QByteArray& peer, const Respond& respond);

private:
    /// Checks the key, then makes the answer; on a thread of the database.
    using Authorised = std::function<store::Stored<Reply>(Connection&, qint64 account)>;

    using JsonHandler = std::function<void(const Request&, const Respond&)>;

    void addRoutes();
    void addRecords();
    void addSettings();
    /// A path whose requests have to be JSON; 415 else.
    void addJson(const QByteArray& method, const QString& path, JsonHandler handler);
    void health(const Respond& respond);
    void signUp(const Request& request, const Respond& respond);
    void polish(const Request& request, const Respond& respond);
    /// Answers with what `work` makes of the account that the request's key opens.
    void asAccount(const Request& request, bool writes, Authorised work, const Respond& respond);
    /// Answers with what `work` makes, or 503.
    void inDatabase(bool writes, std::function<store::Stored<Reply>(Connection&)> work,
                    const Respond& respond);
    [[nodiscard]] QByteArray callerOf(const Request& request, const QByteArray& peer) const;

    ApiOptions m_options;
    Workers& m_workers;
    IdTokenVerifier& m_verifier;
    Polisher& m_polisher;
    Clock m_clock;
    RateLimiter m_accounts;
    RateLimiter m_peers;
    ReleaseFile m_release;
    Router m_router;
};

} // namespace murlo::backend
