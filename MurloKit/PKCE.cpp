#include "MurloKit/PKCE.h"

#include "MurloKit/Base64Url.h"

#include <QCryptographicHash>
#include <QRandomGenerator>

#include <array>

namespace murlo {

PKCE PKCE::make() {
    std::array<quint32, 8> random{};
    QRandomGenerator::system()->fillRange(random.data(), random.size());
    return fromBytes(QByteArray(reinterpret_cast<const char*>(random.data()), sizeof(random)));
}

PKCE PKCE::fromBytes(const QByteArray& bytes) {
    PKCE pair;
    pair.verifier = base64Url(bytes);
    pair.challenge =
        base64Url(QCryptographicHash::hash(pair.verifier.toUtf8(), QCryptographicHash::Sha256));
    return pair;
}

} // namespace murlo
