#pragma once

#include "dictation/recording/RecorderError.h"
#include "platform/AudioEngine.h"
#include "platform/Port.h"

#include <functional>
#include <memory>
#include <tl/expected.hpp>

namespace murlo {

class SampleStore;

/// One engine whose audio flows, converted, into a sample store. Every capture that began is ended
/// once with `finish`, or by destroying it; both on one thread at a time, not the audio thread.
class Capture : NonCopyable {
public:
    struct Receivers {
        std::function<void(float)> level;              ///< of 4096 hardware frames; audio thread
        std::function<void(const QString&)> tapFailed; ///< why the tap was refused; within `begin`
    };

    /// Opens `engine` and lets its audio flow into `samples`. May take seconds with an engine that
    /// is not open yet. After an error nothing flows.
    [[nodiscard]] static tl::expected<std::unique_ptr<Capture>, RecorderError>
    begin(std::shared_ptr<AudioEngine> engine, std::shared_ptr<SampleStore> samples,
          Receivers receivers);
    ~Capture();

    [[nodiscard]] AudioEngine& engine() const { return *m_engine; }

    /// Stops the engine, lets what is still inside the converter follow into the samples, and hands
    /// the engine over for its retirement.
    std::shared_ptr<AudioEngine> finish();

private:
    class Chain;
    Capture(std::shared_ptr<AudioEngine> engine, std::shared_ptr<Chain> chain);

    std::shared_ptr<AudioEngine> m_engine;
    std::shared_ptr<Chain> m_chain;
};

} // namespace murlo
