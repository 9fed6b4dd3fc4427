#include "MurloBackend/identity/AuthorizationCodes.h"

#include "MurloBackend/identity/Base64Url.h"

#include <QCryptographicHash>

#include <algorithm>

namespace murlo::backend {

namespace {

constexpr qsizetype hashSize = 32; // bytes of SHA-256

/// 43 to 128 letters, digits and "-._~" (RFC 7636, section 4.1).
bool isVerifier(const QByteArray& text) {
    return text.size() >= 43 && text.size() <= 128 &&
           std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                      c == '-' || c == '.' || c == '_' || c == '~';
           });
}

} // namespace

bool isChallenge(const QByteArray& text) {
    const auto hash = Base64Url::decode(text);
    return hash && hash->size() == hashSize;
}

QByteArray AuthorizationCodes::issue(const Grant& grant) {
    QByteArray code = Base64Url::randomSecret();
    const std::lock_guard lock(m_mutex);
    m_waiting.removeIf([now = m_clock()](const auto& each) { return each->expiry <= now; });
    if (m_waiting.size() >= mostWaiting) {
        m_waiting.erase(std::min_element(
            m_waiting.begin(), m_waiting.end(),
            [](const Entry& one, const Entry& other) { return one.number < other.number; }));
    }
    m_waiting.insert(code, {grant, m_clock() + lifetime, ++m_issued});
    return code;
}

std::optional<AuthorizationCodes::Grant> AuthorizationCodes::redeem(const QByteArray& code,
                                                                    const QByteArray& verifier) {
    std::unique_lock lock(m_mutex);
    const auto found = m_waiting.find(code);
    if (found == m_waiting.end()) return std::nullopt;
    const Entry entry = *found;
    m_waiting.erase(found);
    lock.unlock();
    if (entry.expiry <= m_clock() || !isVerifier(verifier)) return std::nullopt;
    const QByteArray hash = QCryptographicHash::hash(verifier, QCryptographicHash::Sha256);
    if (Base64Url::encode(hash) != entry.grant.challenge) return std::nullopt;
    return entry.grant;
}

} // namespace murlo::backend
