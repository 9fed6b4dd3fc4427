#pragma once

#include "platform/LocalService.h"
#include "platform/Scheduler.h"

#include <QList>

namespace murlo {

/// A backend of this computer, on the scheduler's time.
class FakeLocalService : public LocalService {
public:
    explicit FakeLocalService(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] Listener listener(const LoopbackPort&) const override { return listening; }
    void start(const LoopbackPort& at, std::function<void(Listener)> done) override {
        started << at.port;
        m_start = m_scheduler.after(startTakes, [this, done] {
            listening = afterStart;
            done(listening);
        });
    }
    void stop(const QString&, std::function<void(bool)> done) override {
        m_start = m_scheduler.after(0, [this, done] {
            if (stops) listening = Listener::nobody;
            done(stops);
        });
    }

    Listener listening = Listener::nobody; ///< on whichever port
    Listener afterStart = Listener::self;  ///< who listens once a start is over
    double startTakes = 0.2;               ///< seconds
    bool stops = true;                     ///< it ends when it is asked to
    QList<quint16> started;                ///< the ports so far

private:
    Scheduler& m_scheduler;
    ScheduledWork m_start;
};

} // namespace murlo
