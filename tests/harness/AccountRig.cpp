#include "tests/harness/AccountRig.h"

#include "MurloKit/Base64Url.h"

#include <QJsonDocument>

namespace murlo {

namespace {

BackendConfig configOf(const QString& server) {
    BackendConfig config;
    config.baseURL = QUrl(server);
    config.clientIdentifier = QStringLiteral("123-abc.apps.example.com");
    config.clientIdentifierSuffix = QStringLiteral(".apps.example.com");
    config.redirectSchemePrefix = QStringLiteral("com.example.apps.");
    config.authorizationEndpoint =
        QUrl(QStringLiteral("https://accounts.example.com/o/oauth2/v2/auth"));
    config.tokenEndpoint = QUrl(QStringLiteral("https://oauth2.example.com/token"));
    config.providerName = QStringLiteral("Example");
    return config;
}

} // namespace

AccountRig::AccountRig(const QString& server)
    : network(
          [this](double seconds, Work work) { return scheduler.after(seconds, std::move(work)); })
    , config(configOf(server))
    , settings(paths, *disk)
    , keys(secrets, paths, *disk, scheduler, config.address())
    , guard(network, local, scheduler)
    , client({guard, scheduler}, config.baseURL, QStringLiteral("1.2.3"))
    , browser({scheduler, desktop, urlScheme, local})
    , account({settings, keys, client, browser, guard, config, refused, errors, scheduler})
    , enhancer({settings, account, client, refused, applications, scheduler}) {
    local.listening = LocalService::Listener::self;
}

void AccountRig::start() {
    keys.load();
    scheduler.runPending();
    scheduler.advance(0);
}

void AccountRig::browserAnswers(const QString& query) {
    browser.take(config.redirectURI() + QLatin1Char('?') + query);
    scheduler.runPending();
}

void AccountRig::providerAnswers(const QString& email) {
    const QJsonObject reply{{QStringLiteral("id_token"), token(email)}};
    network.answer(200, QJsonDocument(reply).toJson(), QStringLiteral("/token"));
    scheduler.runPending();
}

void AccountRig::backendAnswers(const QString& path, int status, const QJsonObject& body) {
    network.answer(status, QJsonDocument(body).toJson(), path);
    scheduler.runPending();
}

void AccountRig::signIn(const QString& key) {
    account.signIn();
    scheduler.runPending();
    browserAnswers();
    providerAnswers();
    backendAnswers(QStringLiteral("/signup"), 200, {{QStringLiteral("apiKey"), key}});
    scheduler.advance(0.1);
}

QString AccountRig::token(const QString& email) {
    const QJsonObject claims{{QStringLiteral("sub"), QStringLiteral("17")},
                             {QStringLiteral("email"), email}};
    return QStringLiteral("e30.%1.c2ln").arg(base64Url(QJsonDocument(claims).toJson()));
}

QString AccountRig::inKeyring(KeychainStore::Item item) const {
    return secrets.items.value(KeychainStore::names(config.address()).at(item));
}

QStringList AccountRig::waiting() const {
    QStringList asked;
    for (const HttpRequest& request : network.waiting()) asked << request.url.path();
    return asked;
}

QString AccountRig::state() const {
    const bool key = keys.read(KeychainStore::apiKey).has_value();
    const bool pending = keys.read(KeychainStore::pendingIdToken).has_value();
    const bool email = account.email().has_value();
    if (!key && !pending && !email && !account.isSignedIn()) return QStringLiteral("signed out");
    if (key && !pending && email && account.isSignedIn()) return QStringLiteral("signed in");
    if (!key && pending && email && account.isSignedIn()) return QStringLiteral("deferred");
    return QStringLiteral("key %1, token %2, e-mail %3, signed in %4")
        .arg(key)
        .arg(pending)
        .arg(email)
        .arg(account.isSignedIn());
}

} // namespace murlo
