#pragma once

namespace murlo::backend {

// The queue of connections that are made and not yet taken, of a listening TCP socket. Closing the
// socket resets them.

/// From now on the kernel drops what would open a connection; handshakes that have begun still end.
/// A client sends its opening again after a second, and is refused once the socket is closed. It
/// counts for every process that has the socket, and for good. Without effect where the kernel has
/// no socket filters.
void turnAwayFurther(int socket);

/// Whether a connection waits in the queue.
[[nodiscard]] bool hasWaiting(int socket);

} // namespace murlo::backend
