#pragma once

#include "platform/MicrophoneAuthorization.h"
#include "platform/Scheduler.h"

namespace murlo {

/// Recording is allowed: a program that is not confined needs nobody's leave on this desktop, and
/// no portal grants or refuses it one.
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
