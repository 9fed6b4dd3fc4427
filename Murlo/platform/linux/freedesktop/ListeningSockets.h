#pragma once

#include <QList>
#include <QtGlobal>

#include <optional>

namespace murlo {

/// The users who own the TCP sockets that listen on a port where this computer reaches them (any
/// of its loopback addresses, or all addresses). The kernel is asked for listening sockets alone:
/// its text tables hold every connection, and take it 5 to 10 ms to write. Nothing where it does
/// not answer such questions. Any thread.
[[nodiscard]] std::optional<QList<uint>> ownersOfListeners(quint16 port);

} // namespace murlo
