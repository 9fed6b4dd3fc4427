#pragma once

#include "account/AccountManager.h"
#include "account/PromptEnhancer.h"
#include "backend/BackendConfig.h"
#include "backend/LoopbackGuard.h"
#include "backend/RefusedKeys.h"
#include "settings/Settings.h"
#include "telemetry/ErrorReporter.h"
#include "tests/fakes/FakeApplications.h"
#include "tests/fakes/FakeDesktop.h"
#include "tests/fakes/FakeHttpClient.h"
#include "tests/fakes/FakeLocalService.h"
#include "tests/fakes/FakeSecretStore.h"
#include "tests/fakes/FakeUrlScheme.h"
#include "tests/harness/SupportFolder.h"
#include "tests/harness/TestLog.h"

#include <QJsonObject>

namespace murlo {

/// An account on fakes: the real manager, key store, client and enhancer, with a browser, a
/// keyring, an identity provider and a backend that the test speaks for. The provider is not the
/// backend.
class AccountRig : public SupportFolder {
public:
    /// `server` is the backend's address.
    explicit AccountRig(const QString& server = QStringLiteral("https://murlo.example.com"));

    /// The program's start, from which on the keyring is known.
    void start();
    /// The browser comes back with this code, or whatever stands in a query.
    void browserAnswers(const QString& query = QStringLiteral("code=the-code"));
    /// The provider's token endpoint answers with a token for this address.
    void providerAnswers(const QString& email = QStringLiteral("me@example.com"));
    /// The backend answers its oldest request for a path.
    void backendAnswers(const QString& path, int status, const QJsonObject& body = {});
    /// A whole sign-in that succeeds.
    void signIn(const QString& key = QStringLiteral("key-1"));
    /// A token as the provider makes them, unsigned.
    [[nodiscard]] static QString token(const QString& email);
    /// What the keyring holds under an item's name.
    [[nodiscard]] QString inKeyring(KeychainStore::Item item) const;
    /// Paths that wait for an answer, oldest first.
    [[nodiscard]] QStringList waiting() const;
    /// "signed out", "signed in", "deferred", or the stores' contents if that is no state.
    [[nodiscard]] QString state() const;

    TestLog log{scheduler};
    FakeHttpClient network;
    FakeSecretStore secrets{scheduler};
    FakeUrlScheme urlScheme{scheduler};
    FakeLocalService local{scheduler};
    FakeDesktop desktop;
    FakeApplications applications;
    BackendConfig config;
    Settings settings;
    ErrorReporter errors;
    RefusedKeys refused;
    KeychainStore keys;
    LoopbackGuard guard;
    AccountClient client;
    BrowserSession browser;
    AccountManager account;
    PromptEnhancer enhancer;
};

} // namespace murlo
