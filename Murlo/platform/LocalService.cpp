#include "platform/LocalService.h"

#include <QHostAddress>

namespace murlo {

std::optional<LoopbackPort> LoopbackPort::of(const QUrl& url) {
    if (!QHostAddress(url.host()).isLoopback()) return std::nullopt;
    const int usual = url.scheme() == QLatin1String("https") ? 443 : 80;
    return LoopbackPort{url.host(), static_cast<quint16>(url.port(usual))};
}

} // namespace murlo
