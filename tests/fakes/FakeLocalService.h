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

    [[nodiscard]] Listener listener(quint16) const override { return listening; }
    void start(quint16 port, std::function<void(Listener)> done) override {
        started << port;
        m_start = m_scheduler.after(startTakes, [this, done] {
            listening = afterStart;
            done(listening);
        });
    }

    Listener listening = Listener::nobody; ///< on whichever port
    Listener afterStart = Listener::self;  ///< who listens once a start is over
    double startTakes = 0.2;               ///< seconds
    QList<quint16> started;                ///< the ports so far

private:
    Scheduler& m_scheduler;
    ScheduledWork m_start;
};

} // namespace murlo
