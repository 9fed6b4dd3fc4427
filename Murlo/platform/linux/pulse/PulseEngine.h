#pragma once

#include "platform/AudioEngine.h"
#include "platform/Scheduler.h"
#include "platform/linux/pulse/PulseConnection.h"
#include "platform/linux/pulse/PulseSourceCheck.h"

#include <atomic>
#include <memory>
#include <vector>

namespace murlo {

/// A record stream of the sound server's default source, in the source's own rate and channels. It
/// is opened corked; after un-corking, audio arrives within about 20 ms. The server moves it when
/// the default source changes or its source goes away.
class PulseEngine : public AudioEngine {
public:
    PulseEngine(Scheduler& scheduler, std::shared_ptr<PulseConnection> connection);
    ~PulseEngine() override;

    [[nodiscard]] AudioFormat inputFormat() override;
    [[nodiscard]] tl::expected<void, PlatformError> installTap(std::size_t frames,
                                                               Tap tap) override;
    void removeTap() override;
    [[nodiscard]] tl::expected<void, PlatformError> start() override;
    void stop() override;
    [[nodiscard]] bool isRunning() const override { return m_running; }
    void observeConfigurationChange(std::function<void()> changed) override;

private:
    struct Observer {
        std::function<void()> changed;
    };

    bool open();
    void close();
    [[nodiscard]] bool isReady() const;
    [[nodiscard]] bool isOpening() const;
    [[nodiscard]] AudioFormat format() const;
    void checkSource();
    void sourceChecked(bool isMicrophone);
    void streamChanged();
    void streamSuspended();
    void updateRunning();
    void tellConfigurationChange();
    void read();
    void deliver(const void* data, std::size_t bytes);

    Scheduler& m_scheduler;
    std::shared_ptr<PulseConnection> m_connection;

    // The following are used under the connection's lock.
    pa_stream* m_stream = nullptr;
    PulseSourceCheck m_check;
    bool m_checked = false;
    bool m_onMicrophone = false;
    bool m_flowing = false;
    Tap m_tap;
    std::size_t m_tapFrames = 0;
    std::vector<float> m_silence;
    std::shared_ptr<Observer> m_observer;

    std::atomic<bool> m_running = false;
};

} // namespace murlo
