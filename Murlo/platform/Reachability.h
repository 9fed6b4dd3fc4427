#pragma once

#include <QObject>

namespace murlo {

/// Whether this computer is connected to a network. Main thread.
class Reachability : public QObject {
    Q_OBJECT

public:
    /// Begins to watch, from which on the signal comes. Further calls do nothing.
    virtual void watch() = 0;
    /// Whether there is a way to the Internet at all (a default route), though it may lead nowhere.
    /// Reads tables of the kernel, well under a millisecond.
    [[nodiscard]] virtual bool isConnected() const = 0;

Q_SIGNALS:
    /// The network has changed, and there is one that leads to the Internet: what has failed may
    /// work now. May come several times at once.
    void cameBack();
};

} // namespace murlo
