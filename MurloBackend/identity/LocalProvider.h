#pragma once

#include "MurloBackend/http/Messages.h"
#include "MurloBackend/identity/AuthorizationCodes.h"
#include "MurloBackend/identity/FormFields.h"
#include "MurloBackend/identity/IdToken.h"
#include "MurloBackend/identity/Identity.h"

#include <QString>

#include <memory>

namespace murlo::backend {

/// What the local identity provider is configured with.
struct LocalProviderOptions {
    QString issuer; ///< "http://127.0.0.1:8757": its own address, without a slash at the end
    QString clientIdentifier; ///< Murlo's; no other client is known
    QString redirectURI;      ///< compared to the character
    QString loginName;        ///< of the computer's user, proposed as the address at "localhost"
    bool remotePolish =
        false; ///< whether texts to be enhanced go to another server: the page says so
    /// Where the signing key is kept, so that a token outlives this process: a sign-up that the
    /// client had to put off comes back after the backend ended in quiet and was started anew.
    /// Empty: in memory.
    QString keyFile = {};
};

/// The identity provider of a computer with one user: an OAuth 2.0 authorisation endpoint whose
/// page has one button, for the code flow with PKCE by S256 alone (RFC 6749, RFC 7636), and the
/// token endpoint, which answers with an OpenID Connect ID token signed by ES256. There is one
/// account, whatever e-mail address is given; nobody is asked for a password. It must be reachable
/// from the user's own processes alone; who serves it sees to that. Any thread.
class LocalProvider {
public:
    /// How long an ID token is valid, in seconds. Longer than the usual hour: a sign-up put off
    /// because the backend was away is tried again with the same token, perhaps not before the next
    /// login.
    static constexpr qint64 tokenLifetime = qint64{24} * 60 * 60;

    LocalProvider(LocalProviderOptions options, Clock clock);

    /// GET and POST /o/oauth2/v2/auth, POST /token; answers during the call.
    void handle(const Request& request, const Respond& respond);
    /// For this provider's own tokens, also those of earlier processes with the same key file. It
    /// may outlive this.
    [[nodiscard]] std::unique_ptr<IdTokenVerifier> verifier() const;

private:
    [[nodiscard]] Reply showForm(const FormFields& fields, const QString& notice = {}) const;
    [[nodiscard]] Reply takeForm(const FormFields& fields);
    [[nodiscard]] Reply exchange(const Request& request);
    /// Why this authorisation request is not Murlo's, as a sentence; empty if it is.
    [[nodiscard]] QString objection(const FormFields& fields) const;
    /// What shows that a form is one of ours for this request, until the time (seconds).
    [[nodiscard]] QString formToken(const FormFields& fields, qint64 expiry) const;
    [[nodiscard]] bool isOwnForm(const FormFields& fields) const;
    [[nodiscard]] QByteArray idToken(const QString& email) const;

    const LocalProviderOptions m_options;
    const Clock m_clock;
    const PrivateKey m_key;
    const QByteArray m_formSecret;
    AuthorizationCodes m_codes;
};

} // namespace murlo::backend
