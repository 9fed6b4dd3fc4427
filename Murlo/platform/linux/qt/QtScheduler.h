#pragma once

#include "platform/Scheduler.h"
#include "platform/linux/qt/WorkInbox.h"
#include "platform/linux/qt/WorkPool.h"

#include <memory>

namespace murlo {

/// The scheduler of the running application: Qt's event loops and a pool of threads. Create
/// it on the main thread; destroying it waits for the background jobs.
class QtScheduler : public Scheduler {
public:
    QtScheduler();
    ~QtScheduler() override;

    [[nodiscard]] QDateTime now() const override;
    [[nodiscard]] double uptime() const override;
    [[nodiscard]] ScheduledWork after(double seconds, Work work) override;
    [[nodiscard]] ScheduledWork every(double seconds, Work work) override;
    void nextTurn(Work work) override;
    void background(Work work) override;
    [[nodiscard]] std::unique_ptr<SerialQueue> makeSerialQueue(const QString& label) override;

private:
    WorkInbox m_inbox;
    std::unique_ptr<QSocketNotifier> m_receiving;
    WorkPool m_pool; ///< destroyed first: its work may still post to the main thread
};

} // namespace murlo
