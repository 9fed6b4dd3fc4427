#pragma once

#include "platform/Port.h"

#include <functional>

namespace murlo {

/// Diagnostic commands that another process of the same user can send. Main thread.
class DiagnosticNotifications : public Port {
public:
    std::function<void()> onProbe;    ///< "murlo.probe": write a report about the text boxes
    std::function<void()> onIm;       ///< "murlo.im": log whether keys may be listened to
    std::function<void()> onSnapshot; ///< "murlo.snapshot": render the screens into pictures

    /// Starts to listen; handlers may be set before or after.
    virtual void start() = 0;
};

} // namespace murlo
