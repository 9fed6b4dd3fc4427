#pragma once

#include <QList>
#include <QProcess>
#include <QString>

namespace murlo {

/// The address of the accessibility bus.
[[nodiscard]] QString busAddress();

/// All programs walked in the straightforward way, in parallel, each on a thread of its own: within
/// the bounds that a scan has, each object that shows is asked for role, states, place and
/// children, and each answer is waited for.
struct ParallelWalk {
    ParallelWalk(const QString& address, const QList<qint64>& pids);

    int objects = 0;
    bool whole = true; ///< no bound ended it
    double took = 0;   ///< seconds
};

/// Counts the method calls on a bus, by the bus's own monitor.
class CallMonitor {
public:
    explicit CallMonitor(const QString& address);
    ~CallMonitor();
    CallMonitor(const CallMonitor&) = delete;
    CallMonitor& operator=(const CallMonitor&) = delete;

    [[nodiscard]] int calls();

private:
    QProcess m_process;
};

} // namespace murlo
