#pragma once

#include "MurloBackend/identity/IdToken.h"

#include <QByteArray>
#include <QHash>
#include <QString>

#include <mutex>
#include <optional>

namespace murlo::backend {

/// The authorisation codes that wait to be exchanged, in memory: 256 random bits each, for one use
/// within five minutes. Beyond 100 waiting ones the oldest ends. All are for the one client and its
/// redirect URI, which the caller checks. Any thread.
class AuthorizationCodes {
public:
    static constexpr qint64 lifetime =
        qint64{5} * 60; ///< seconds; RFC 6749 recommends at most 10 minutes
    static constexpr int mostWaiting = 100;

    explicit AuthorizationCodes(Clock clock)
        : m_clock(std::move(clock)) {}

    /// What a code was given for.
    struct Grant {
        QByteArray challenge; ///< of PKCE, method S256
        QString email;
    };
    [[nodiscard]] QByteArray issue(const Grant& grant);
    /// What it was given for, if it is valid and the verifier fits (RFC 7636, section 4.6).
    /// Whatever comes of it, the code is used up.
    [[nodiscard]] std::optional<Grant> redeem(const QByteArray& code, const QByteArray& verifier);

private:
    struct Entry {
        Grant grant;
        qint64 expiry; ///< seconds
        qint64 number; ///< in the order of issue
    };

    Clock m_clock;
    std::mutex m_mutex; ///< guards what follows
    QHash<QByteArray, Entry> m_waiting;
    qint64 m_issued = 0;
};

/// Whether this may be a challenge of method S256: 43 characters of base64url.
[[nodiscard]] bool isChallenge(const QByteArray& text);

} // namespace murlo::backend
