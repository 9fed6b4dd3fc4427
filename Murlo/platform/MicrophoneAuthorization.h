#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// Not asked yet; decided by an administrator; refused; allowed.
enum class MicrophoneStatus { notDetermined = 0, restricted = 1, denied = 2, authorized = 3 };

/// Whether this application may record. A missing sound server or microphone does not count as
/// refused.
class MicrophoneAuthorization : public Port {
public:
    /// Any thread; never waits.
    [[nodiscard]] virtual MicrophoneStatus status() const = 0;
    /// Asks the user if the system has such a dialog; calls back on a later turn of the main thread
    /// with whether recording is allowed.
    virtual void request(std::function<void(bool)> answered) = 0;
};

} // namespace murlo
