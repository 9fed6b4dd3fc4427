#pragma once

#include <QObject>

namespace murlo {

/// Whether this computer is connected to a network. Main thread.
class Reachability : public QObject {
    Q_OBJECT

public:
    /// Begins to watch, from which on the signal comes; costs a few megabytes, so only who waits
    /// for a network asks for it. Further calls do nothing.
    virtual void watch() = 0;

Q_SIGNALS:
    /// There was no network, or one that does not lead to the Internet, and now there is one. Never
    /// comes where the desktop does not tell.
    void cameBack();
};

} // namespace murlo
