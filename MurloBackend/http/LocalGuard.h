#pragma once

#include "MurloBackend/http/Messages.h"

#include <QHostAddress>

#include <optional>

namespace murlo::backend {

/// One end of a TCP connection.
struct Endpoint {
    QHostAddress address;
    quint16 port = 0;
};

/// The user that owns the socket at the peer's end of a connection within this computer, by the
/// kernel's table of sockets. Nothing if there is none (any more), or if nobody holds it open.
/// Any thread; takes the time of reading that table.
[[nodiscard]] std::optional<uint> userOfPeer(const Endpoint& peer, const Endpoint& own);

/// The same in a table that was read already, in the format of /proc/net/tcp and /proc/net/tcp6.
[[nodiscard]] std::optional<uint> userOfPeer(const QByteArray& table, const Endpoint& peer,
                                             const Endpoint& own);

/// Loopback is shared by every user of the computer and reached by every web page in a browser.
/// This keeps both out of a server that is one user's own.
class LocalGuard {
public:
    /// `user` is whose requests are answered; the server listens on `own`.
    LocalGuard(const Endpoint& own, uint user);

    /// The answer to a request that has no business here; nothing for one that has. Any thread.
    [[nodiscard]] std::optional<Reply> refusal(const Request& request,
                                               std::optional<uint> peerUser) const;

private:
    QList<QByteArray> m_hosts;   ///< values of Host that name this server
    QList<QByteArray> m_origins; ///< values of Origin that do
    uint m_user;
};

} // namespace murlo::backend
