#pragma once

#include "platform/AudioEngine.h"

#include <QString>

namespace murlo {

/// Why a recording could not start.
struct RecorderError {
    QString description; ///< whole sentences for the user
    QString domain;      ///< with `code`, what a report may say of the error
    int code = 0;

    /// There is no input device, or no sound server.
    [[nodiscard]] static RecorderError noInputDevice() {
        return own(QStringLiteral("No microphone found. Check System Settings → Sound → Input."),
                   0);
    }
    /// The device's format cannot be converted.
    [[nodiscard]] static RecorderError unsupportedFormat() {
        return own(QStringLiteral("This microphone's audio format isn't supported."), 1);
    }
    /// The device changed under the recording that was about to begin.
    [[nodiscard]] static RecorderError inputChanged() {
        return own(QStringLiteral("The microphone changed while starting. Try again."), 2);
    }
    /// The platform's own error, passed on as it is.
    [[nodiscard]] static RecorderError from(const PlatformError& error) {
        return {error.description, error.domain, error.code};
    }

private:
    [[nodiscard]] static RecorderError own(const QString& description, int code) {
        return {description, QStringLiteral("AudioRecorder.RecorderError"), code};
    }
};

} // namespace murlo
