#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

namespace murlo {

/// Runs the event loop until `condition` holds, asking every `every` milliseconds; false when it
/// did not within `limit` milliseconds. For waiting on other programs. Main thread.
template <typename Condition>
[[nodiscard]] bool waitFor(Condition condition, int limit = 15000, int every = 10) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.hasExpired(limit)) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, every);
        QThread::msleep(static_cast<unsigned long>(every));
    }
    return true;
}

/// Runs the event loop for a fixed time: the length of a key press, of a breath.
inline void letPass(int milliseconds) {
    (void)waitFor([] { return false; }, milliseconds, 1);
}

} // namespace murlo
