#include "FakeOutgoing.h"
#include "MurloBackend/Service.h"
#include "MurloBackend/http/HttpServer.h"
#include "MurloBackend/identity/Base64Url.h"
#include "MurloBackend/identity/IssuerVerifier.h"
#include "tests/harness/Rows.h"
#include "tests/server/HttpProbe.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QMessageAuthenticationCode>
#include <QTemporaryDir>
#include <QTest>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>

namespace murlo::backend {

namespace {

constexpr qint64 now = 1'800'000'000;
const QString issuer = "https://id.example";
const QUrl configurationUrl("https://id.example/.well-known/openid-configuration");
const QUrl keysUrl("https://keys.example/set");

/// A key of the test's issuer, by libcrypto alone.
struct IssuerKey {
    IssuerKey(EVP_PKEY* made, QString itsName)
        : name(std::move(itsName))
        , owned(made, EVP_PKEY_free)
        , key(made) {}
    QString name;
    std::shared_ptr<EVP_PKEY> owned;
    EVP_PKEY* key;

    [[nodiscard]] QByteArray number(const char* parameter) const {
        BIGNUM* value = nullptr;
        EVP_PKEY_get_bn_param(key, parameter, &value);
        QByteArray bytes(BN_num_bytes(value), '\0');
        if (bytes.size() < 32 && bytes.size() > 3) bytes.resize(32); // a coordinate
        BN_bn2binpad(value, reinterpret_cast<unsigned char*>(bytes.data()), int(bytes.size()));
        BN_free(value);
        return Base64Url::encode(bytes);
    }
    [[nodiscard]] QJsonObject jwk() const {
        const bool isRsa = EVP_PKEY_get_base_id(key) == EVP_PKEY_RSA;
        QJsonObject jwk{{"kid", name}, {"kty", isRsa ? "RSA" : "EC"}, {"crv", "P-256"}};
        jwk["n"] = QString(isRsa ? number(OSSL_PKEY_PARAM_RSA_N) : "");
        jwk["e"] = QString(isRsa ? number(OSSL_PKEY_PARAM_RSA_E) : "");
        jwk["x"] = QString(isRsa ? "" : number(OSSL_PKEY_PARAM_EC_PUB_X));
        jwk["y"] = QString(isRsa ? "" : number(OSSL_PKEY_PARAM_EC_PUB_Y));
        return jwk;
    }
    [[nodiscard]] PrivateKey signer() const { // of P-256
        BIO* memory = BIO_new(BIO_s_mem());
        PEM_write_bio_PrivateKey(memory, key, nullptr, nullptr, 0, nullptr, nullptr);
        char* pem = nullptr;
        const long size = BIO_get_mem_data(memory, &pem);
        const auto result = PrivateKey::fromPem(QByteArray(pem, size));
        BIO_free(memory);
        return result.value();
    }
    [[nodiscard]] QByteArray sign(const QByteArray& text) const {
        if (EVP_PKEY_get_base_id(key) == EVP_PKEY_EC) return signer().sign(text);
        EVP_MD_CTX* context = EVP_MD_CTX_new();
        QByteArray signature(EVP_PKEY_get_size(key), '\0');
        auto size = size_t(signature.size());
        EVP_DigestSignInit(context, nullptr, EVP_sha256(), nullptr, key);
        EVP_DigestSign(context, reinterpret_cast<unsigned char*>(signature.data()), &size,
                       reinterpret_cast<const unsigned char*>(text.data()), size_t(text.size()));
        EVP_MD_CTX_free(context);
        return signature;
    }
};

const IssuerKey rsa{EVP_RSA_gen(2048), "r"};
const IssuerKey curve{EVP_EC_gen("P-256"), "e"};
const IssuerKey foreign{EVP_EC_gen("P-256"), "e"};

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}
QByteArray unsignedToken(const QJsonObject& header, const QByteArray& claims) {
    return Base64Url::encode(json(header)) + '.' + Base64Url::encode(claims);
}
QByteArray token(const QJsonObject& header, const QByteArray& claims, const IssuerKey& key) {
    const QByteArray text = unsignedToken(header, claims);
    return text + '.' + Base64Url::encode(key.sign(text));
}
/// Good claims with some replaced; null removes.
QByteArray claims(const QJsonObject& changes = {}) {
    QJsonObject result{
        {"iss", issuer},          {"aud", "murlo"},   {"sub", "7"}, {"email", "a@b.example"},
        {"email_verified", true}, {"exp", now + 600}, {"nbf", now}};
    for (auto each = changes.begin(); each != changes.end(); ++each) {
        if (each->isNull())
            result.remove(each.key());
        else
            result.insert(each.key(), *each);
    }
    return json(result);
}
const QJsonObject byCurve{{"alg", "ES256"}, {"kid", "e"}};
const QJsonObject byRsa{{"alg", "RS256"}, {"kid", "r"}};

OutgoingResponse keySet(const QList<IssuerKey>& keys, const QByteArray& cacheControl = {}) {
    QJsonArray members;
    for (const IssuerKey& key : keys) members.append(key.jwk());
    return {200, json({{"keys", members}}), {{"cache-control", cacheControl}}};
}

} // namespace

class IdentityTest : public QObject {
    Q_OBJECT

    FakeOutgoing m_network;
    qint64 m_time = now;
    std::unique_ptr<IdTokenVerifier> m_verifier;

    /// "7", "refused" or "unreachable"; "nothing" until it completes.
    std::shared_ptr<QString> verify(const QByteArray& given) {
        auto outcome = std::make_shared<QString>("nothing");
        m_verifier->verify(given, [outcome](const tl::expected<Identity, TokenFault>& result) {
            *outcome = result ? result->subject : "unreachable";
            if (!result && result.error() == TokenFault::refused) *outcome = "refused";
        });
        return outcome;
    }

private Q_SLOTS:
    void init() {
        m_network.answers = {
            {configurationUrl,
             OutgoingResponse{200, json({{"issuer", issuer}, {"jwks_uri", keysUrl.toString()}})}},
            {keysUrl, keySet({rsa, curve})}};
        m_network.requests.clear();
        m_time = now;
        m_verifier =
            makeIssuerVerifier({issuer, "murlo", {}}, m_network, [this] { return m_time; });
    }

    void judgesTokens_data() {
        const Rows<QByteArray, bool> row; // a token, and whether it is good
        const auto changed = [&](const char* name, const QJsonObject& changes, bool good = false) {
            row(name, token(byCurve, claims(changes), curve), good);
        };
        const QByteArray whole = token(byCurve, claims(), curve);
        row("ES256", whole, true);
        row("RS256", token(byRsa, claims(), rsa), true);
        row("no key named, one of the kind", token({{"alg", "RS256"}}, claims(), rsa), true);
        changed("one of two audiences", {{"aud", QJsonArray{"x", "murlo"}}}, true);
        changed("verified in words", {{"email_verified", "true"}}, true);
        changed("expired within the skew", {{"exp", now - 59}}, true);
        changed("not yet, within the skew", {{"nbf", now + 60}}, true);
        changed("expired", {{"exp", now - 60}});
        changed("no expiry", {{"exp", QJsonValue()}});
        changed("expiry in words", {{"exp", QString::number(now + 600)}});
        changed("not yet", {{"nbf", now + 61}});
        changed("another issuer", {{"iss", issuer + "/"}});
        changed("another audience", {{"aud", "murlo2"}});
        changed("other audiences", {{"aud", QJsonArray{"x", QJsonArray{"murlo"}}}});
        changed("numeric subject", {{"sub", 7}});
        changed("no e-mail", {{"email", QJsonValue()}});
        changed("numeric e-mail", {{"email", 5}});
        changed("unverified", {{"email_verified", false}});
        changed("verified by a number", {{"email_verified", 1}});
        changed("nothing about verification", {{"email_verified", QJsonValue()}});
        row("claims are a list", token(byCurve, "[1]", curve));
        row("deep claims", token(byCurve, QByteArray(5000, '['), curve));
        row("100 KB", token(byCurve, claims({{"x", QString(100'000, 'x')}}), curve));
        row("foreign key", token(byCurve, claims(), foreign));
        row("key of the other kind", token({{"alg", "RS256"}, {"kid", "e"}}, claims(), rsa));
        row("critical extension",
            token({{"alg", "ES256"}, {"kid", "e"}, {"crit", QJsonArray{"x"}}}, claims(), curve));
        row("unsigned", unsignedToken({{"alg", "none"}}, claims()) + '.');
        row("public key as a shared secret", [] {
            const QByteArray text = unsignedToken({{"alg", "HS256"}, {"kid", "r"}}, claims());
            return text + '.' +
                   Base64Url::encode(QMessageAuthenticationCode::hash(text, json(rsa.jwk()),
                                                                      QCryptographicHash::Sha256));
        }());
        row("signature of other claims",
            unsignedToken(byCurve, claims({{"sub", "8"}})) + whole.mid(whole.lastIndexOf('.')));
        row("no signature", whole.left(whole.lastIndexOf('.') + 1));
        row("zeroes for a signature",
            whole.left(whole.lastIndexOf('.') + 1) + Base64Url::encode(QByteArray(64, '\0')));
        row("four pieces", whole + ".x");
        row("two pieces", whole.left(whole.lastIndexOf('.')));
        row("padding", whole + "==");
        row("foreign character", QByteArray(whole).replace(5, 1, "+"));
        row("nothing", "");
    }
    void judgesTokens() {
        const auto [given, good] = fetch<QByteArray, bool>();
        QCOMPARE(*verify(given), good ? "7" : "refused");
    }

    void weakAndForeignKeysAreNoKeys() {
        const auto changed = [](QJsonObject jwk, const char* member, const QJsonValue& value) {
            jwk[member] = value;
            return PublicKey::fromJwk(jwk).has_value();
        };
        QVERIFY(changed(rsa.jwk(), "x5t", "other members do not matter"));
        QVERIFY(!changed(rsa.jwk(), "use", "enc"));
        QVERIFY(!changed(rsa.jwk(), "alg", "RS512"));
        QVERIFY(!changed(curve.jwk(), "x", QString(Base64Url::encode(QByteArray(32, 'x')))));
        QVERIFY(!changed(curve.jwk(), "crv", "P-384"));
        QVERIFY(!PublicKey::fromJwk(IssuerKey{EVP_RSA_gen(1024), "w"}.jwk()));
    }

    void keysAreKeptAsLongAsTheIssuerSaysWithinBounds() {
        const QByteArray lasting = token(byCurve, claims({{"exp", now + 9'999'999}}), curve);
        for (const auto& [header, seconds] : {std::pair("", 3600),
                                              {"public, max-age=1000", 1000},
                                              {"max-age=0", 300},
                                              {"no-store", 300},
                                              {"Max-Age=99999999", 86400},
                                              {"max-age=1e9", 3600}}) {
            m_time += 100'000; // whatever was kept is too old
            m_network.requests.clear();
            m_network.answers[keysUrl] = keySet({curve}, header);
            QCOMPARE(*verify(lasting), "7");
            m_time += seconds - 1;
            QCOMPARE(*verify(lasting), "7");
            QCOMPARE(m_network.requests.size(), std::size_t{2}); // configuration and keys
            m_time += 1;
            m_network.answers.remove(keysUrl);
            QCOMPARE(*verify(lasting), "unreachable");
        }
    }

    void anUnknownKeyIsLookedForOnceAMinute() {
        const QByteArray good = token(byRsa, claims(), rsa);
        m_network.answers[keysUrl] = keySet({curve});
        QCOMPARE(*verify(good), "refused");
        const auto asked = m_network.requests.size();
        m_network.answers[keysUrl] = keySet({rsa}); // the issuer changed its keys
        m_time += 59;
        QCOMPARE(*verify(good), "refused");
        QCOMPARE(m_network.requests.size(), asked);
        m_time += 1;
        QCOMPARE(*verify(good), "7");
        QCOMPARE(*verify(token(byCurve, claims(), curve)), "refused"); // withdrawn
    }

    void tokensWaitForOneFetchAndCompleteHoweverItEnds() {
        const QByteArray good = token(byCurve, claims(), curve);
        m_network.held = true;
        const auto first = verify(good);
        const auto second = verify(good);
        const auto forged = verify(token(byCurve, claims(), foreign));
        QCOMPARE(*first, "nothing");
        QCOMPARE(m_network.requests.size(), std::size_t{1});
        m_verifier.reset();
        m_network.release();
        QCOMPARE(*first + *second + *forged, "77refused");
    }

    void withoutTheIssuersKeysNobodyIsRefusedOrLetIn() {
        const QByteArray good = token(byCurve, claims({{"exp", now + 9'999'999}}), curve);
        const QByteArray evil =
            json({{"issuer", "https://evil.example"}, {"jwks_uri", keysUrl.toString()}});
        const std::tuple<QUrl, int, QByteArray> faults[] = {
            {configurationUrl, 404, ""},
            {configurationUrl, 200, evil},
            {configurationUrl, 200, json({{"issuer", issuer}, {"jwks_uri", 5}})},
            {keysUrl, 302, json({{"keys", QJsonArray{curve.jwk()}}})},
            {keysUrl, 200, "<html>"},
            {keysUrl, 200, json({{"keys", QJsonArray{1, "x"}}})}};
        for (const auto& [url, status, body] : faults) {
            m_time += 100'000; // whatever was kept is too old
            const auto whole =
                std::exchange(m_network.answers[url], OutgoingResponse{status, body});
            QCOMPARE(*verify(good), "unreachable");
            m_network.answers[url] = whole;
            m_time += 9;
            QCOMPARE(*verify(good), "unreachable"); // not asked again yet
            m_time += 1;
            QCOMPARE(*verify(good), "7");
        }
    }

    void aServerAsksItsIdentityProvider_data() {
        // Whether the keys' address is configured, what the provider's document adds to its name,
        // claims that are changed; the status of the sign-up.
        const Rows<bool, QByteArray, QJsonObject, int> row;
        row("discovered", false, "", {}, 200);
        row("configured", true, "/x", {}, 200);
        row("another's document", false, "/x", {}, 503);
        row("another audience", false, "", {{"aud", "x"}}, 401);
        row("unverified address", false, "", {{"email_verified", false}}, 401);
    }
    void aServerAsksItsIdentityProvider() {
        const auto [isConfigured, added, changes, status] =
            fetch<bool, QByteArray, QJsonObject, int>();
        QString name, said;
        HttpServer provider(
            {}, [&](const Request& request, const QByteArray&, const Respond& respond) {
                Reply reply{404};
                if (request.path == "/keys") reply = {200, keySet({curve}).body};
                if (request.path == "/.well-known/openid-configuration")
                    reply = {200, json({{"issuer", said}, {"jwks_uri", name + "/keys"}})};
                respond(reply);
            });
        const auto end = provider.listen();
        QVERIFY(end);
        name = "http://127.0.0.1:" + QString::number(end->port);
        said = name + added;
        provider.run();
        const QTemporaryDir folder;
        Configuration configuration;
        configuration.port = 0;
        configuration.database = folder.filePath("murlo.db");
        configuration.issuer = name;
        configuration.audience = "murlo";
        if (isConfigured) configuration.jwksUrl = name + "/keys";
        Service service(configuration);
        HttpProbe probe(service.start().value_or(Endpoint{}).port);
        QJsonObject person = changes;
        person["iss"] = name;
        person["exp"] = now * 2;
        person["nbf"] = QJsonValue::Null;
        const auto ask = [&](const QString& subject) {
            person["sub"] = subject;
            return probe.ask("POST", "/signup",
                             "{\"idToken\":\"" + token(byCurve, claims(person), curve) + "\"}");
        };
        const Answer answer = ask("7");
        QCOMPARE(answer.status, status);
        QCOMPARE(probe.ask("GET", "/o/oauth2/v2/auth").status, 404); // it has no page of its own
        if (status != 200) return;
        const auto key = [](const Answer& from) {
            return from.json()["apiKey"].toString().toUtf8();
        };
        const QByteArray record = "{\"settings\":" +
                                  json({{"triggerKey", ""},
                                        {"pickTargetKey", ""},
                                        {"insertMode", ""},
                                        {"language", "en"},
                                        {"playSounds", true},
                                        {"doubleTapWindow", 1},
                                        {"holdThreshold", 1},
                                        {"maxRecordingSeconds", 1},
                                        {"initialPrompt", ""}}) +
                                  '}';
        QCOMPARE(probe.ask("PUT", "/settings", record, key(answer)).status, 200);
        QCOMPARE(probe.ask("GET", "/settings", {}, key(ask("7"))).body, record);
        QCOMPARE(probe.ask("GET", "/settings", {}, key(ask("8"))).body, "{}");
    }
};

} // namespace murlo::backend

QTEST_GUILESS_MAIN(murlo::backend::IdentityTest)
#include "IdentityTest.moc"
