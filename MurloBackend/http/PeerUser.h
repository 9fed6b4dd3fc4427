#pragma once

#include <QByteArray>
#include <QHostAddress>

#include <optional>

namespace murlo::backend {

/// One end of a TCP connection.
struct Endpoint {
    QHostAddress address;
    quint16 port = 0;
};

/// The user that owns the socket at the peer's end of a connection within this computer. Nothing if
/// there is none (any more), or if nobody holds it open. Asks the kernel for that one socket; where
/// it does not answer, its table of all of them is read, which takes milliseconds. Any thread.
[[nodiscard]] std::optional<uint> userOfPeer(const Endpoint& peer, const Endpoint& own);

/// The same by the kernel's table, in the format of /proc/net/tcp and /proc/net/tcp6.
[[nodiscard]] std::optional<uint> userInTable(const QByteArray& table, const Endpoint& peer,
                                              const Endpoint& own);

} // namespace murlo::backend
