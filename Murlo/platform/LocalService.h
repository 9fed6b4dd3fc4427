#pragma once

#include "platform/Port.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>
#include <tuple>

namespace murlo {

/// A TCP port of one of this computer's loopback addresses.
struct LoopbackPort {
    QString host; ///< a literal: "127.0.0.1", "::1"
    quint16 port = 0;

    /// Where requests for this address go, if that is this computer by a literal address: names can
    /// lead anywhere.
    [[nodiscard]] static std::optional<LoopbackPort> of(const QUrl& url);
    friend bool operator==(const LoopbackPort&, const LoopbackPort&) = default;
    friend bool operator<(const LoopbackPort& one, const LoopbackPort& other) {
        return std::tie(one.host, one.port) < std::tie(other.host, other.port);
    }
};

/// The backend that may run on this very computer. Main thread.
class LocalService : public Port {
public:
    /// Who takes connections to a port.
    enum class Listener {
        nobody,
        self,    ///< a process of this user, or a socket that this user's service manager holds
        stranger ///< another user, who must not be sent anything
    };
    /// Reads kernel tables only, well under a millisecond.
    [[nodiscard]] virtual Listener listener(const LoopbackPort& at) const = 0;

    /// Makes this user's backend listen there: the service manager's socket unit, else the program
    /// installed beside this one, which then ends by itself after some quiet. Reports on a later
    /// turn, after at most 10 s, who listens then.
    virtual void start(const LoopbackPort& at, std::function<void(Listener)> done) = 0;

    /// Ends what `start` has made listen, and every other backend of this user that has its
    /// database in this folder; keeps the service manager from starting it again before the next
    /// login. A backend that this user runs for others, with a database elsewhere, goes on. Reports
    /// on a later turn, after at most 10 s, whether none of it runs any more.
    virtual void stop(const QString& databaseFolder, std::function<void(bool)> done) = 0;
};

} // namespace murlo
