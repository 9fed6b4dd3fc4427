#pragma once

#include <QString>

#include <functional>
#include <tl/expected.hpp>

namespace murlo::backend {

/// Who a verified ID token speaks of. Accounts are told apart by issuer and subject.
struct Identity {
    QString issuer;
    QString subject;
    QString email;
};

/// Why a token does not identify anybody.
enum class TokenFault {
    refused,    ///< malformed, wrongly signed, of another issuer or audience, expired, no verified
                ///< e-mail
    unreachable ///< the issuer's keys cannot be had now
};

/// Verifies ID tokens: signature (RS256 or ES256, never "none"), issuer, audience, expiry with 60 s
/// of clock skew, and a verified e-mail address.
class IdTokenVerifier {
public:
    virtual ~IdTokenVerifier() = default;
    /// Any thread; completes once, on any thread, possibly during the call.
    virtual void verify(const QByteArray& token,
                        std::function<void(tl::expected<Identity, TokenFault>)> done) = 0;
};

} // namespace murlo::backend
