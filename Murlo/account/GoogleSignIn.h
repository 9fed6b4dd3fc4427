#pragma once

#include "MurloKit/IDTokenPayload.h"
#include "MurloKit/PKCE.h"
#include "account/BrowserSession.h"
#include "backend/BackendConfig.h"
#include "platform/HttpClient.h"

#ifndef Q_MOC_RUN // it cannot parse the standard library's concepts
#include <QCoroTask>
#endif

#include <functional>
#include <memory>

namespace murlo {

/// Whom the identity provider has signed in.
struct SignedInIdentity {
    QString idToken;
    IDTokenPayload payload;
};

/// The OAuth 2.0 authorisation-code flow of installed applications (RFC 8252) with PKCE (RFC 7636),
/// in the system's browser. There is no client secret. Main thread.
class GoogleSignIn {
public:
    using Result = tl::expected<SignedInIdentity, SignInError>;

    /// `makePKCE` is `PKCE::make`, but for tests.
    GoogleSignIn(BrowserSession& session, HttpClient& http, const BackendConfig& config,
                 std::function<PKCE()> makePKCE = PKCE::make);
    /// A sign-in under way ends as cancelled.
    ~GoogleSignIn();

    /// Signs in. One at a time; a further call cancels the one before.
    [[nodiscard]] QCoro::Task<Result> start();
    /// The sign-in under way ends as cancelled.
    void cancel();

private:
    struct Attempt;

    [[nodiscard]] QUrl authorizationURL(const PKCE& pkce) const;
    [[nodiscard]] HttpRequest tokenRequest(const QString& code, const PKCE& pkce) const;
    void openBrowser(const std::shared_ptr<Attempt>& attempt, const QUrl& page);
    [[nodiscard]] Result finished(const std::shared_ptr<Attempt>& attempt, Result result);

    BrowserSession& m_session;
    HttpClient& m_http;
    const BackendConfig& m_config;
    std::function<PKCE()> m_makePKCE;
};

} // namespace murlo
