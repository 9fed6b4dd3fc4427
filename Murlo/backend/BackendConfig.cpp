#include "backend/BackendConfig.h"

#include "backend/Servers.h"

#include <QDir>
#include <QFile>
#include <QHostAddress>
#include <QStandardPaths>

namespace murlo {

namespace {

QString fromBuild(const char* value) {
    return QString::fromUtf8(value);
}

/// What can be configured: its name in the files, and the value of this build.
struct Option {
    QString name;
    QString value;
    bool isAddress = false;
};

struct Options {
    Option backend{QStringLiteral("backend"), fromBuild(Servers::backend), true};
    Option client{QStringLiteral("client"), fromBuild(Servers::client)};
    Option clientSuffix{QStringLiteral("client-suffix"), fromBuild(Servers::clientSuffix)};
    Option redirectPrefix{QStringLiteral("redirect-prefix"), fromBuild(Servers::redirectPrefix)};
    Option authorizationHost{QStringLiteral("authorization-host"),
                             fromBuild(Servers::authorizationHost), true};
    Option tokenHost{QStringLiteral("token-host"), fromBuild(Servers::tokenHost), true};
    Option provider{QStringLiteral("provider"), fromBuild(Servers::provider)};
    Option models{QStringLiteral("models"), fromBuild(Servers::models), true};

    [[nodiscard]] Option* named(const QString& name) {
        for (Option* option : {&backend, &client, &clientSuffix, &redirectPrefix,
                               &authorizationHost, &tokenHost, &provider, &models})
            if (option->name == name) return option;
        return nullptr;
    }
};

QString withoutSlash(QString text) {
    while (text.endsWith(QLatin1Char('/'))) text.chop(1);
    return text;
}

/// One file; what cannot be read in it becomes a complaint.
void readFile(const QString& path, Options& options, QStringList& complaints) {
    constexpr qint64 longest = qint64{64} * 1024; // bytes; these files have some ten lines
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (file.exists())
            complaints << QStringLiteral("%1 cannot be read.").arg(BackendConfig::spoken(path));
        return;
    }
    int number = 0;
    for (const QByteArray& bytes : file.read(longest).split('\n')) {
        ++number;
        const QString line = QString::fromUtf8(bytes).trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) continue;
        const qsizetype sign = line.indexOf(QLatin1Char('='));
        Option* option = sign < 0 ? nullptr : options.named(line.left(sign).trimmed());
        if (!option) {
            complaints << QStringLiteral("%1, line %2, sets nothing that Murlo knows.")
                              .arg(BackendConfig::spoken(path))
                              .arg(number);
            continue;
        }
        option->value = line.mid(sign + 1).trimmed();
    }
}

QUrl checked(const Option& option, QStringList& complaints) {
    QUrl url(withoutSlash(option.value), QUrl::StrictMode);
    if (BackendConfig::isAcceptable(url)) return url;
    complaints << QStringLiteral("The address \"%1\" is none that Murlo uses: it must begin with "
                                 "https://, or with http:// and a loopback address such as "
                                 "127.0.0.1.")
                      .arg(option.name);
    return {};
}

QUrl withPath(QUrl url, const QString& path) {
    if (!url.isEmpty()) url.setPath(withoutSlash(url.path()) + path);
    return url;
}

} // namespace

BackendConfig BackendConfig::read(const QStringList& files) {
    BackendConfig config;
    Options options;
    for (const QString& file : files) readFile(file, options, config.complaints);
    config.baseURL = checked(options.backend, config.complaints);
    // Without hosts of its own, the provider is the backend's page.
    for (Option* host : {&options.authorizationHost, &options.tokenHost})
        if (host->value.isEmpty()) host->value = options.backend.value;
    const bool same = options.authorizationHost.value == options.backend.value &&
                      options.tokenHost.value == options.backend.value;
    QStringList ofHosts;
    config.authorizationEndpoint =
        withPath(checked(options.authorizationHost, ofHosts), QStringLiteral("/o/oauth2/v2/auth"));
    config.tokenEndpoint = withPath(checked(options.tokenHost, ofHosts), QStringLiteral("/token"));
    if (!same) config.complaints += ofHosts;
    config.modelRepository = checked(options.models, config.complaints);
    config.clientIdentifier = options.client.value;
    config.clientIdentifierSuffix = options.clientSuffix.value;
    config.redirectSchemePrefix = options.redirectPrefix.value;
    config.providerName = options.provider.value;
    return config;
}

QStringList BackendConfig::usualFiles() {
    return {QStringLiteral("/etc/murlo/murlo.conf"),
            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                QStringLiteral("/murlo/murlo.conf")};
}

QString BackendConfig::spoken(const QString& file) {
    const QString home = QDir::homePath() + QLatin1Char('/');
    return file.startsWith(home) ? QStringLiteral("~/") + file.mid(home.size()) : file;
}

bool BackendConfig::isLocal() const {
    return isUsable() && QHostAddress(baseURL.host()).isLoopback();
}

QString BackendConfig::address() const {
    if (!isUsable()) return {};
    return withoutSlash(baseURL.toString(QUrl::RemoveUserInfo | QUrl::RemoveQuery |
                                         QUrl::RemoveFragment | QUrl::NormalizePathSegments));
}

QString BackendConfig::callbackScheme() const {
    QString own = clientIdentifier;
    if (own.endsWith(clientIdentifierSuffix)) own.chop(clientIdentifierSuffix.size());
    return redirectSchemePrefix + own;
}

QString BackendConfig::redirectURI() const {
    return callbackScheme() + QStringLiteral(":/oauth2redirect");
}

bool BackendConfig::isAcceptable(const QUrl& address) {
    if (!address.isValid() || address.host().isEmpty() || !address.userInfo().isEmpty() ||
        address.hasQuery() || address.hasFragment())
        return false;
    if (address.scheme() == QLatin1String("https")) return true;
    return address.scheme() == QLatin1String("http") && QHostAddress(address.host()).isLoopback();
}

} // namespace murlo
