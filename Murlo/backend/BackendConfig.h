#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <tl/expected.hpp>

namespace murlo {

/// Where the backend, the identity provider and the speech models are found. The defaults are set
/// when Murlo is built (cmake/Servers.cmake); "/etc/murlo/murlo.conf" and then the user's
/// "murlo/murlo.conf" in the configuration folder override them, one by one. An immutable value.
struct BackendConfig {
    QUrl baseURL;                   ///< of the backend; empty when what was configured is unusable
    QString clientIdentifier;       ///< this program's, as the identity provider knows it
    QString clientIdentifierSuffix; ///< the provider's domain suffix, beginning with a dot
    QString redirectSchemePrefix;   ///< the same domain, labels reversed, followed by a dot
    QUrl authorizationEndpoint;
    QUrl tokenEndpoint;
    QString providerName; ///< as the user knows it ("Google"); empty for the local backend's page
    QUrl modelRepository; ///< of the speech models' files
    /// What was wrong with a configuration file, a sentence each, for the log.
    QStringList complaints;

    /// The values of this build, then those of the files, each of which may be missing.
    [[nodiscard]] static BackendConfig read(const QStringList& files);
    /// The files of this system and user, in the order in which they apply.
    [[nodiscard]] static QStringList usualFiles();
    /// A file's path as people write it, "~/.config/murlo/murlo.conf".
    [[nodiscard]] static QString spoken(const QString& file);

    /// Whether there is a backend to talk to.
    [[nodiscard]] bool isUsable() const { return baseURL.isValid() && !baseURL.isEmpty(); }
    /// Whether the backend is one of this computer (a loopback address).
    [[nodiscard]] bool isLocal() const;
    /// The identity under which keys, e-mail and queues of this backend are kept: scheme, host and
    /// port, path without a trailing slash.
    [[nodiscard]] QString address() const;
    /// "com.example.apps.1-abc" for the identifier "1-abc.apps.example.com".
    [[nodiscard]] QString callbackScheme() const;
    [[nodiscard]] QString redirectURI() const;

    /// Addresses that may be configured: https anywhere, http for loopback literals alone
    /// (127.0.0.0/8 and ::1), without user information, query or fragment.
    [[nodiscard]] static bool isAcceptable(const QUrl& address);
};

} // namespace murlo
