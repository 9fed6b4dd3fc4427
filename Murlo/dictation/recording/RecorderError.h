#pragma once

#include "MurloKit/Message.h"
#include "platform/AudioEngine.h"

#include <QString>

namespace murlo {

/// Why a recording could not start.
struct RecorderError {
    Message message;
    QString domain; ///< with `code`, what a report may say of the error
    int code = 0;

    /// There is no input device, or no sound server.
    [[nodiscard]] static RecorderError noInputDevice() { return own(Word::noInputDevice, 0); }
    /// The device's format cannot be converted.
    [[nodiscard]] static RecorderError unsupportedFormat() {
        return own(Word::unsupportedFormat, 1);
    }
    /// The device changed under the recording that was about to begin.
    [[nodiscard]] static RecorderError inputChanged() { return own(Word::inputChanged, 2); }
    /// The platform's own error, passed on as it is.
    [[nodiscard]] static RecorderError from(const PlatformError& error) {
        return {{Word::asReported, {error.description}}, error.domain, error.code};
    }

private:
    [[nodiscard]] static RecorderError own(Word why, int code) {
        return {why, QStringLiteral("AudioRecorder.RecorderError"), code};
    }
};

} // namespace murlo
