#pragma once

#include "platform/Port.h"

#include <QString>

#include <cstddef>
#include <functional>
#include <memory>
#include <tl/expected.hpp>

namespace murlo {

/// Interleaved 32-bit float audio of the hardware.
struct AudioFormat {
    double sampleRate = 0; ///< frames per second; 0 when there is no input device
    int channels = 0;

    bool operator==(const AudioFormat&) const = default;
};

/// One buffer of captured audio; valid only during the call that hands it over.
struct AudioBuffer {
    const float* samples = nullptr; ///< interleaved, frames × channels values in -1…1
    std::size_t frames = 0;
    AudioFormat format;
};

/// An error of the platform, with its words for the user and its domain and code for reports.
struct PlatformError {
    QString description;
    QString domain;
    int code = 0;
};

/// A capture from the default microphone. The first call of `inputFormat` opens the device; audio
/// flows from `start` to `stop`. Call it from one thread at a time, not necessarily always the
/// same. Destroying it off the audio thread releases the device.
class AudioEngine : public Port {
public:
    using Tap = std::function<void(const AudioBuffer&)>;

    /// Opens the input device if it is not open yet and returns its format. May take seconds the
    /// first time; call it off the main thread where that matters.
    [[nodiscard]] virtual AudioFormat inputFormat() = 0;

    /// Installs the receiver of the audio, called on the audio thread with at most `frames` frames
    /// at a time. At most one; it does not replace an earlier one. The error says why it was
    /// refused.
    [[nodiscard]] virtual tl::expected<void, PlatformError> installTap(std::size_t frames,
                                                                       Tap tap) = 0;

    /// Once it returns, the tap is not called any more. Does nothing without a tap.
    virtual void removeTap() = 0;

    /// Starts the audio. Returns once the device has accepted, or with the reason why not.
    [[nodiscard]] virtual tl::expected<void, PlatformError> start() = 0;
    virtual void stop() = 0;

    /// Whether audio flows from a device that still exists. Any thread.
    [[nodiscard]] virtual bool isRunning() const = 0;

    /// Sets the callback, run on a later turn of the main thread, for when a started engine was
    /// moved to another device, or its device changed its format, was suspended or removed. An
    /// empty function removes it.
    virtual void observeConfigurationChange(std::function<void()> changed) = 0;
};

/// Creates engines and reports changes of the default input device.
class AudioInput : public Port {
public:
    /// A new engine; nothing is opened yet. Any thread.
    [[nodiscard]] virtual std::shared_ptr<AudioEngine> makeEngine() = 0;

    /// Has `changed` called on the main thread whenever another device became the default input, or
    /// the sound server came back, until the returned handle is destroyed. Any number at a time.
    /// Main thread.
    [[nodiscard]] virtual std::shared_ptr<void>
    observeDefaultInput(std::function<void()> changed) = 0;
};

} // namespace murlo
