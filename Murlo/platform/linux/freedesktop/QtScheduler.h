#pragma once

#include "platform/Scheduler.h"

#include <memory>

namespace murlo {

/// The scheduler of the running application: Qt's event loops and thread pool. Create it on the
/// main thread; destroying it waits for background jobs that are running.
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
    struct Lines;
    std::shared_ptr<Lines> m_lines;
};

} // namespace murlo
