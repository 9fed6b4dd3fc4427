#pragma once

#include <QHostAddress>
#include <QList>

namespace murlo {

/// A TCP socket that accepts connections.
struct ListeningSocket {
    QHostAddress address;
    uint owner = 0; ///< the user's number

    /// Whether connections to this address may come to the socket: it is bound to it, or to all.
    [[nodiscard]] bool accepts(const QHostAddress& wanted) const;
};

/// The sockets that listen on a port. The kernel is asked for listening sockets alone, where it
/// answers such questions: its text tables hold every connection, and take it 5 to 10 ms to write.
/// Any thread.
[[nodiscard]] QList<ListeningSocket> listeningSockets(quint16 port);

/// The same from the kernel's text tables "tcp" and "tcp6" in a folder.
[[nodiscard]] QList<ListeningSocket> listeningSocketsInTables(const QString& folder, quint16 port);

} // namespace murlo
