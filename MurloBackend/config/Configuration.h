#pragma once

#include <QString>
#include <QStringList>

#include <tl/expected.hpp>

namespace murlo::backend {

/// What the server is told, with the defaults of a server that one person runs for themselves.
struct Configuration {
    QString listen = QStringLiteral("127.0.0.1"); ///< an IP address
    quint16 port = 8757;                          ///< 0: any free one
    QString publicAddress;                        ///< "https://…" of a proxy in front; or empty

    QString issuer;      ///< of ID tokens, exactly as they name it; empty: the local sign-in page
    QString audience;    ///< of ID tokens: the client identifier at that issuer
    QString jwksUrl;     ///< where the issuer's keys are; empty: as its discovery document says
    QString clientId;    ///< that the local sign-in page accepts; from the build unless set
    QString redirectUri; ///< that it answers to, to the character; made of the former unless set

    QString database;       ///< a file, or "postgresql://…"; empty: the file of this user
    int keysPerAccount = 5; ///< live API keys of an account; a further sign-up ends the oldest

    qint64 bodyLimit = qint64{2} * 1024 * 1024; ///< of a request, bytes
    int connections = 512;                      ///< open at a time; further ones wait
    int readTimeout = 30;                       ///< seconds for a request to arrive in
    int accountRate = 50;                       ///< requests per second of an account; 0: no limit
    int peerRate = 200;                         ///< requests per second of an address; 0: no limit
    bool proxyTrust = false;                    ///< whether X-Forwarded-For names the peer
    int threads = 2; ///< that handle requests, and as many for the database
    int idleEnd = 0; ///< seconds without a request that end it; 0: never

    QString polishUrl;        ///< of an OpenAI-compatible endpoint; empty: the rules alone
    QString polishKey;        ///< its bearer key
    QString polishModel;      ///< its model's name
    double polishTimeout = 8; ///< seconds

    QString releaseFile; ///< JSON with "latest", "minimum", "url", "notes"

    /// Whether it listens for this computer alone, with nothing in front of it.
    [[nodiscard]] bool isLocal() const;
    /// Whether it signs people in by its own page.
    [[nodiscard]] bool signsInLocally() const { return issuer.isEmpty(); }
};

/// Where a configuration comes from.
struct ConfigurationSources {
    QStringList files;       ///< later ones win; a missing one is skipped
    QString requiredFile;    ///< read last, and an error if missing; or empty
    QStringList assignments; ///< "KEY=VALUE", which win over every file
};

/// Reads and checks a configuration, or yields what is wrong with it: a sentence each, with file
/// and line where there is one.
[[nodiscard]] tl::expected<Configuration, QStringList>
readConfiguration(const ConfigurationSources& sources);

/// The files that are read unless one is named: of the system, then of the user.
[[nodiscard]] QStringList usualConfigurationFiles();

} // namespace murlo::backend
