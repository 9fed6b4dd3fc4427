#pragma once

#include "platform/AudioEngine.h"
#include "platform/Scheduler.h"

#include <deque>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace murlo {

/// A microphone in memory: plugged, unplugged and spoken into by the test, from any thread.
class FakeAudioInput : public AudioInput {
public:
    /// What an engine meets that is not ordinary.
    struct Script {
        std::function<void()> whileOpening{};  ///< runs inside the first `inputFormat`
        std::function<void()> whileStarting{}; ///< runs inside `start`, the audio flowing already
        std::optional<PlatformError> tapError{};
        std::optional<PlatformError> startError{};
    };

    explicit FakeAudioInput(Scheduler& scheduler)
        : m_scheduler(scheduler) {}

    [[nodiscard]] std::shared_ptr<AudioEngine> makeEngine() override;
    [[nodiscard]] std::shared_ptr<void> observeDefaultInput(std::function<void()> changed) override;

    /// The default input becomes a device of this format. Engines that are flowing stay with what
    /// they have.
    void plug(AudioFormat format);
    /// The device goes away: nothing flows any more, and flowing engines say so.
    void unplug();
    /// Flowing engines tell of a change that leaves them flowing.
    void renegotiate();
    /// Says `interleaved` to every flowing engine, `pieceFrames` frames at a time, on this thread.
    void speak(std::span<const float> interleaved, std::size_t pieceFrames = 480);

    /// For the next engines in the order of their making; those after it meet nothing special.
    void script(Script script) { m_scripts.push_back(std::move(script)); }

    [[nodiscard]] int enginesMade() const;
    /// Engines that exist; opened ones; ones whose audio flows.
    [[nodiscard]] int engines() const;
    [[nodiscard]] int openEngines() const;
    [[nodiscard]] int flowingEngines() const;

private:
    class Engine;

    std::vector<std::shared_ptr<Engine>> present() const;

    Scheduler& m_scheduler;
    mutable std::mutex m_lock;
    AudioFormat m_device{48000, 1};
    std::deque<Script> m_scripts;
    std::vector<std::weak_ptr<Engine>> m_engines; ///< all that were ever made
    std::vector<std::weak_ptr<std::function<void()>>> m_observers;
    Lifetime m_lifetime;
};

} // namespace murlo
