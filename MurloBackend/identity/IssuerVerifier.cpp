#include "MurloBackend/identity/IssuerVerifier.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <mutex>
#include <vector>

namespace murlo::backend {

namespace {

// Seconds.
constexpr qint64 shortestKeep = qint64{5} * 60;
constexpr qint64 usualKeep = qint64{60} * 60;
constexpr qint64 longestKeep = qint64{24} * 60 * 60;
constexpr qint64 betweenFetches = 60;
constexpr qint64 afterFailure = 10;
constexpr double fetchLimit = 5;
constexpr std::size_t mostWaiting = 1000;
constexpr qsizetype mostKeys = 100; // real sets have two or three

struct NamedKey {
    QString identifier;
    PublicKey key;
};
using KeySet = std::vector<NamedKey>;
using Verdict = tl::expected<Identity, TokenFault>;
using Done = std::function<void(Verdict)>;

std::optional<QJsonObject> objectIn(const Outgoing::Result& result) {
    if (!result || result->status != 200) return std::nullopt;
    const QJsonDocument document = QJsonDocument::fromJson(result->body);
    if (!document.isObject()) return std::nullopt;
    return document.object();
}

/// The usable keys of a set; nothing if it is no set or holds none.
std::optional<KeySet> keysIn(const Outgoing::Result& result) {
    const auto set = objectIn(result);
    if (!set) return std::nullopt;
    KeySet keys;
    const QJsonArray members = set->value(QLatin1String("keys")).toArray();
    for (qsizetype i = 0; i < std::min(members.size(), mostKeys); ++i) {
        const QJsonObject jwk = members[i].toObject();
        if (auto key = PublicKey::fromJwk(jwk))
            keys.push_back({jwk[QLatin1String("kid")].toString(), *std::move(key)});
    }
    if (keys.empty()) return std::nullopt;
    return keys;
}

/// How long an answer may be kept, by its headers.
qint64 keepFor(const OutgoingResponse& response) {
    for (const QByteArray& directive : response.header("Cache-Control").split(',')) {
        const QByteArray word = directive.trimmed().toLower();
        if (word == "no-store" || word == "no-cache") return shortestKeep;
        if (!word.startsWith("max-age=")) continue;
        bool isNumber = false;
        const qint64 age = word.mid(8).toLongLong(&isNumber);
        if (isNumber) return std::clamp(age, shortestKeep, longestKeep);
    }
    return usualKeep;
}

/// The key that a token names; one that names none must have the only key of its algorithm.
const PublicKey* keyFor(const SignedToken& token, const KeySet& keys) {
    const PublicKey* found = nullptr;
    for (const NamedKey& each : keys) {
        if (each.key.algorithm() != token.algorithm()) continue;
        if (token.keyIdentifier().isEmpty()) {
            if (found) return nullptr;
        } else if (each.identifier != token.keyIdentifier()) {
            continue;
        }
        found = &each.key;
    }
    return found;
}

/// The issuer's keys and the tokens that wait for them. Shared with the fetch under way.
class Issuer : public std::enable_shared_from_this<Issuer> {
public:
    Issuer(IssuerOptions options, Outgoing& outgoing, Clock clock)
        : m_options(std::move(options))
        , m_outgoing(outgoing)
        , m_clock(std::move(clock)) {}

    void verify(const SignedToken& token, Done done) {
        const qint64 now = m_clock();
        std::unique_lock lock(m_mutex);
        const bool fresh = now < m_freshUntil;
        const PublicKey* key = fresh ? keyFor(token, m_keys) : nullptr;
        if (key) {
            const PublicKey copy = *key;
            lock.unlock();
            return done(judge(token, &copy));
        }
        const bool wait = m_fetching || now >= m_nextFetch;
        if (!wait || m_waiting.size() >= mostWaiting) {
            // A key that the issuer's latest set lacks is none of its keys.
            const bool known = fresh && m_lastFetchWorked && !wait;
            lock.unlock();
            return done(tl::unexpected(known ? TokenFault::refused : TokenFault::unreachable));
        }
        m_waiting.push_back({token, std::move(done)});
        if (std::exchange(m_fetching, true)) return;
        lock.unlock();
        fetch();
    }

private:
    struct Waiting {
        SignedToken token;
        Done done;
    };

    [[nodiscard]] Verdict judge(const SignedToken& token, const PublicKey* key) const {
        const auto claims = key ? token.claims(*key) : std::nullopt;
        const auto identity =
            claims ? identityOf(*claims, {m_options.issuer, m_options.audience}, m_clock())
                   : std::nullopt;
        if (!identity) return tl::unexpected(TokenFault::refused);
        return *identity;
    }

    void fetch() {
        if (m_options.jwksUrl) return fetchKeys(*m_options.jwksUrl);
        QString base = m_options.issuer;
        while (base.endsWith(QLatin1Char('/'))) base.chop(1);
        const QUrl url(base + QStringLiteral("/.well-known/openid-configuration"));
        m_outgoing.send({.url = url, .timeout = fetchLimit},
                        [self = shared_from_this()](const Outgoing::Result& result) {
                            self->discovered(result);
                        });
    }
    void discovered(const Outgoing::Result& result) {
        const auto configuration = objectIn(result);
        const auto text = [&](const char* member) {
            return configuration ? configuration->value(QLatin1String(member)).toString()
                                 : QString();
        };
        if (text("issuer") != m_options.issuer) return fetched(std::nullopt, 0);
        fetchKeys(QUrl(text("jwks_uri"), QUrl::StrictMode));
    }
    void fetchKeys(const QUrl& url) {
        m_outgoing.send({.url = url, .timeout = fetchLimit},
                        [self = shared_from_this()](const Outgoing::Result& result) {
                            self->fetched(keysIn(result), result ? keepFor(*result) : 0);
                        });
    }
    void fetched(std::optional<KeySet> keys, qint64 keep) {
        const qint64 now = m_clock();
        std::unique_lock lock(m_mutex);
        if (keys) {
            m_keys = *keys;
            m_freshUntil = now + keep;
        }
        m_lastFetchWorked = keys.has_value();
        m_nextFetch = now + (keys ? betweenFetches : afterFailure);
        m_fetching = false;
        const auto waiting = std::exchange(m_waiting, {});
        lock.unlock();
        for (const Waiting& each : waiting) {
            each.done(keys ? judge(each.token, keyFor(each.token, *keys))
                           : Verdict(tl::unexpected(TokenFault::unreachable)));
        }
    }

    const IssuerOptions m_options;
    Outgoing& m_outgoing;
    const Clock m_clock;
    std::mutex m_mutex; ///< guards what follows
    KeySet m_keys;
    qint64 m_freshUntil = 0;
    bool m_lastFetchWorked = false;
    qint64 m_nextFetch = 0;
    bool m_fetching = false;
    std::vector<Waiting> m_waiting;
};

class IssuerVerifier : public IdTokenVerifier {
public:
    explicit IssuerVerifier(std::shared_ptr<Issuer> issuer)
        : m_issuer(std::move(issuer)) {}

    void verify(const QByteArray& token, Done done) override {
        const auto parsed = SignedToken::parse(token);
        if (!parsed) return done(tl::unexpected(TokenFault::refused));
        m_issuer->verify(*parsed, std::move(done));
    }

private:
    std::shared_ptr<Issuer> m_issuer;
};

} // namespace

std::unique_ptr<IdTokenVerifier> makeIssuerVerifier(IssuerOptions options, Outgoing& outgoing,
                                                    Clock clock) {
    return std::make_unique<IssuerVerifier>(
        std::make_shared<Issuer>(std::move(options), outgoing, std::move(clock)));
}

} // namespace murlo::backend
