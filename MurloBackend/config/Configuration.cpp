#include "Configuration.h"

#include <QFile>
#include <QHostAddress>
#include <QStandardPaths>
#include <QUrl>

#include <algorithm>
#include <functional>
#include <map>

namespace murlo::backend {

namespace {

/// Takes a value, or says what it has to be ("is not …").
using Setter = std::function<QString(Configuration&, const QString&)>;

Setter text(QString Configuration::*member) {
    return [member](Configuration& configuration, const QString& value) {
        configuration.*member = value;
        return QString();
    };
}

template <typename Number>
Setter number(Number Configuration::*member, qint64 least, qint64 most) {
    return [=](Configuration& configuration, const QString& value) {
        bool isNumber = false;
        const qint64 parsed = value.toLongLong(&isNumber);
        if (!isNumber || parsed < least || parsed > most)
            return QStringLiteral("has to be a number from %1 to %2").arg(least).arg(most);
        configuration.*member = static_cast<Number>(parsed);
        return QString();
    };
}

Setter truth(bool Configuration::*member) {
    return [member](Configuration& configuration, const QString& value) {
        const bool yes = value == QLatin1String("yes") || value == QLatin1String("true");
        if (!yes && value != QLatin1String("no") && value != QLatin1String("false"))
            return QStringLiteral("has to be yes or no");
        configuration.*member = yes;
        return QString();
    };
}

/// An https address, or an http one of this computer.
Setter address(QString Configuration::*member) {
    return [member](Configuration& configuration, const QString& value) {
        const QUrl url(value, QUrl::StrictMode);
        const QHostAddress host(url.host());
        const bool isHere = url.scheme() == QLatin1String("http") && host.isLoopback();
        const bool isSecure = url.scheme() == QLatin1String("https") && !url.host().isEmpty();
        if (!value.isEmpty() && (!url.isValid() || (!isSecure && !isHere)))
            return QStringLiteral("has to be an https address (http is for 127.0.0.1 and ::1)");
        configuration.*member = value;
        return QString();
    };
}

QString takeListen(Configuration& configuration, const QString& value) {
    const bool isName = value == QLatin1String("localhost");
    const QHostAddress host(isName ? QStringLiteral("127.0.0.1") : value);
    if (host.isNull()) return QStringLiteral("has to be an IP address of this computer");
    configuration.listen = host.toString();
    return {};
}

QString takeKeyFile(Configuration& configuration, const QString& value) {
    QFile file(value);
    if (!file.open(QIODevice::ReadOnly))
        return QStringLiteral("names a file that cannot be read: %1").arg(file.errorString());
    configuration.polishKey = QString::fromUtf8(file.readAll()).trimmed();
    return {};
}

QString takePolishTimeout(Configuration& configuration, const QString& value) {
    bool isNumber = false;
    const double seconds = value.toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.1 && seconds <= 600))
        return QStringLiteral("has to be a number of seconds from 0.1 to 600");
    configuration.polishTimeout = seconds;
    return {};
}

const std::map<QString, Setter>& setters() {
    using C = Configuration;
    constexpr qint64 many = 1'000'000;
    static const std::map<QString, Setter> table{
        {QStringLiteral("listen"), takeListen},
        {QStringLiteral("port"), number(&C::port, 0, 65535)},
        {QStringLiteral("public-address"), address(&C::publicAddress)},
        {QStringLiteral("issuer"), text(&C::issuer)},
        {QStringLiteral("audience"), text(&C::audience)},
        {QStringLiteral("jwks-url"), address(&C::jwksUrl)},
        {QStringLiteral("client-id"), text(&C::clientId)},
        {QStringLiteral("redirect-uri"), text(&C::redirectUri)},
        {QStringLiteral("database"), text(&C::database)},
        {QStringLiteral("keys-per-account"), number(&C::keysPerAccount, 1, 1000)},
        {QStringLiteral("body-limit"), number(&C::bodyLimit, 1024, qint64{1} << 30)},
        {QStringLiteral("connections"), number(&C::connections, 1, many)},
        {QStringLiteral("read-timeout"), number(&C::readTimeout, 1, 3600)},
        {QStringLiteral("account-rate"), number(&C::accountRate, 0, many)},
        {QStringLiteral("peer-rate"), number(&C::peerRate, 0, many)},
        {QStringLiteral("proxy-trust"), truth(&C::proxyTrust)},
        {QStringLiteral("threads"), number(&C::threads, 1, 256)},
        {QStringLiteral("idle-end"), number(&C::idleEnd, 0, 31'536'000)},
        {QStringLiteral("polish-url"), address(&C::polishUrl)},
        {QStringLiteral("polish-key"), text(&C::polishKey)},
        {QStringLiteral("polish-key-file"), takeKeyFile},
        {QStringLiteral("polish-model"), text(&C::polishModel)},
        {QStringLiteral("polish-timeout"), takePolishTimeout},
        {QStringLiteral("release-file"), text(&C::releaseFile)},
    };
    return table;
}

/// Takes "key = value"; `place` begins the sentence when that fails.
void takeAssignment(Configuration& configuration, const QString& line, const QString& place,
                    QStringList& complaints) {
    const auto equals = line.indexOf(QLatin1Char('='));
    const QString key = line.left(equals).trimmed();
    if (equals < 0) {
        // Without its text, which may hold a secret.
        complaints << QStringLiteral("%1: the line is not of the form KEY = VALUE.").arg(place);
        return;
    }
    const auto setter = setters().find(key);
    if (setter == setters().end()) {
        complaints << QStringLiteral("%1: there is no key \"%2\".").arg(place, key);
        return;
    }
    const QString fault = setter->second(configuration, line.mid(equals + 1).trimmed());
    if (!fault.isEmpty()) complaints << QStringLiteral("%1: \"%2\" %3.").arg(place, key, fault);
}

void readFile(Configuration& configuration, const QString& path, bool mustExist,
              QStringList& complaints) {
    QFile file(path);
    if (!mustExist && !file.exists()) return;
    if (!file.open(QIODevice::ReadOnly)) {
        complaints << QStringLiteral("%1 cannot be read: %2.").arg(path, file.errorString());
        return;
    }
    int number = 0;
    const auto lines = QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'));
    for (const QString& raw : lines) {
        ++number;
        const QString line = raw.trimmed();
        if (line.isEmpty() || line.startsWith(QLatin1Char('#'))) continue;
        takeAssignment(configuration, line, QStringLiteral("%1, line %2").arg(path).arg(number),
                       complaints);
    }
}

/// What does not fit together, though each value is good in itself.
void checkTogether(const Configuration& configuration, QStringList& complaints) {
    const bool hasIssuer = !configuration.issuer.isEmpty() && !configuration.audience.isEmpty();
    if (!configuration.isLocal() && !hasIssuer)
        complaints << QStringLiteral(
            "A server that others reach (\"listen\" is not of this computer alone, or there is a "
            "\"public-address\") needs an identity provider: set \"issuer\" and \"audience\".");
    if (configuration.issuer.isEmpty() != configuration.audience.isEmpty() &&
        configuration.isLocal())
        complaints << QStringLiteral("\"issuer\" and \"audience\" are set together or not at all.");
    if (!configuration.polishUrl.isEmpty() && configuration.polishModel.isEmpty())
        complaints << QStringLiteral("\"polish-url\" needs a \"polish-model\".");
}

/// "local.murlo.apps.desktop:/oauth2redirect" for the client "desktop.apps.murlo.local".
QString redirectOf(const QString& client) {
    QStringList labels = client.split(QLatin1Char('.'));
    std::reverse(labels.begin(), labels.end());
    return labels.join(QLatin1Char('.')) + QStringLiteral(":/oauth2redirect");
}

} // namespace

bool Configuration::isLocal() const {
    return QHostAddress(listen).isLoopback() && publicAddress.isEmpty();
}

tl::expected<Configuration, QStringList> readConfiguration(const ConfigurationSources& sources) {
    Configuration configuration;
    configuration.clientId = QStringLiteral(MURLO_CLIENT);
    QStringList complaints;
    for (const QString& file : sources.files) readFile(configuration, file, false, complaints);
    if (!sources.requiredFile.isEmpty())
        readFile(configuration, sources.requiredFile, true, complaints);
    for (const QString& assignment : sources.assignments)
        takeAssignment(configuration, assignment, QStringLiteral("--set"), complaints);
    checkTogether(configuration, complaints);
    if (!complaints.isEmpty()) return tl::unexpected(complaints);
    if (configuration.redirectUri.isEmpty())
        configuration.redirectUri = redirectOf(configuration.clientId);
    return configuration;
}

QStringList usualConfigurationFiles() {
    return {QStringLiteral("/etc/murlo/murlo-backend.conf"),
            QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                QStringLiteral("/murlo/murlo-backend.conf")};
}

} // namespace murlo::backend
