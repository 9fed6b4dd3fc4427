#pragma once

#include "platform/AudioEngine.h"
#include "platform/Scheduler.h"
#include "platform/linux/pulse/PulseConnection.h"

#include <memory>

namespace murlo {

/// Recording through PulseAudio, or PipeWire in its place.
class PulseAudioInput : public AudioInput {
public:
    PulseAudioInput(Scheduler& scheduler, std::shared_ptr<PulseConnection> connection);
    ~PulseAudioInput() override;

    [[nodiscard]] std::shared_ptr<AudioEngine> makeEngine() override;
    [[nodiscard]] std::shared_ptr<void> observeDefaultInput(std::function<void()> changed) override;

private:
    struct Observers;

    Scheduler& m_scheduler;
    std::shared_ptr<PulseConnection> m_connection;
    std::shared_ptr<Observers> m_observers;
};

} // namespace murlo
