#pragma once

#include "platform/MicrophoneAuthorization.h"
#include "platform/Scheduler.h"

namespace murlo {

/// Always authorised: on this desktop a program outside a sandbox needs no permission to record,
/// and no portal manages one.
class OpenMicrophone : public MicrophoneAuthorization {
public:
    explicit OpenMicrophone(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] MicrophoneStatus status() const override { return MicrophoneStatus::authorized; }
    void request(std::function<void(bool)> answered) override {
        m_scheduler.nextTurn([answered = std::move(answered)] { answered(true); });
    }

private:
    Scheduler& m_scheduler;
};

} // namespace murlo
