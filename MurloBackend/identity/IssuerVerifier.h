#pragma once

#include "MurloBackend/identity/IdToken.h"
#include "MurloBackend/identity/Identity.h"
#include "MurloBackend/outgoing/Outgoing.h"

#include <QString>
#include <QUrl>

#include <memory>
#include <optional>

namespace murlo::backend {

/// The identity provider whose tokens are accepted.
struct IssuerOptions {
    QString issuer;              ///< as tokens name it, to the character
    QString audience;            ///< the client identifier that tokens must be for
    std::optional<QUrl> jwksUrl; ///< of its keys; without it, its published configuration is asked
};

/// Verifies tokens of this issuer by the keys that it publishes: at the address given, or at the
/// `jwks_uri` of "/.well-known/openid-configuration" (OpenID Connect Discovery 1.0) behind the
/// issuer. The keys are kept for as long as their `Cache-Control: max-age` says, at least 5 minutes
/// and at most a day, an hour without it; an unknown key identifier has them fetched anew, at most
/// once a minute, and after a failure nothing is asked for 10 s. Tokens wait for a fetch under way,
/// 1000 at most. `outgoing` must outlive all verifying.
[[nodiscard]] std::unique_ptr<IdTokenVerifier> makeIssuerVerifier(IssuerOptions options,
                                                                  Outgoing& outgoing, Clock clock);

} // namespace murlo::backend
