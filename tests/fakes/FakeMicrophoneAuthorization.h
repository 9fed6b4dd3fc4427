#pragma once

#include "platform/MicrophoneAuthorization.h"
#include "platform/Scheduler.h"

#include <QList>

namespace murlo {

/// A user who is asked for the microphone and answers when the test says so.
class FakeMicrophoneAuthorization : public MicrophoneAuthorization {
public:
    explicit FakeMicrophoneAuthorization(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] MicrophoneStatus status() const override { return current; }
    void request(std::function<void(bool)> answered) override {
        m_asked.append(std::move(answered));
    }

    /// Answers what was asked, on a later turn.
    void answer(bool granted) {
        current = granted ? MicrophoneStatus::authorized : MicrophoneStatus::denied;
        for (auto& asked : std::exchange(m_asked, {})) {
            m_scheduler.nextTurn([asked = std::move(asked), granted] { asked(granted); });
        }
    }

    MicrophoneStatus current = MicrophoneStatus::authorized;

private:
    Scheduler& m_scheduler;
    QList<std::function<void(bool)>> m_asked;
};

} // namespace murlo
