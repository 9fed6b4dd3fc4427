#pragma once

#include "platform/Port.h"

#include <QtGlobal>

#include <functional>

namespace murlo {

/// The backend that may run on this very computer, behind a TCP port of the loopback interface.
/// Main thread.
class LocalService : public Port {
public:
    /// Who listens on a port of the loopback interface.
    enum class Listener {
        nobody,
        self,    ///< a process of this user, or a socket that this user's service manager holds
        stranger ///< another user, who must not be sent anything
    };
    /// Reads kernel tables only, well under a millisecond.
    [[nodiscard]] virtual Listener listener(quint16 port) const = 0;

    /// Makes this user's backend listen on the port: the service manager's socket unit, else the
    /// program installed beside this one, which then ends by itself after some quiet. Reports on a
    /// later turn, after at most 10 s, who listens then.
    virtual void start(quint16 port, std::function<void(Listener)> done) = 0;
};

} // namespace murlo
