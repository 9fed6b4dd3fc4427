#include "backend/AccountError.h"

namespace murlo {

QString AccountError::description() const {
    switch (kind) {
    case server:
        return QStringLiteral("server error %1").arg(status);
    case network:
        break;
    case unauthorized:
        return QStringLiteral("not authorized");
    case undecodable:
        return QStringLiteral("unexpected reply");
    }
    return QStringLiteral("network unavailable");
}

} // namespace murlo
