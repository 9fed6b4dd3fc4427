#pragma once

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>
#include <QTimer>

namespace murlo {

/// Runs the event loop for a fixed time, asleep between events as a program is: the length of a key
/// press, of a breath. Main thread.
inline void letPass(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Runs the event loop until `condition` holds, asking every `every` milliseconds; false when it
/// did not within `limit` milliseconds. For waiting on other programs. Main thread.
template <typename Condition>
[[nodiscard]] bool waitFor(Condition condition, int limit = 15000, int every = 10) {
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.hasExpired(limit)) return false;
        letPass(every);
    }
    return true;
}

} // namespace murlo
