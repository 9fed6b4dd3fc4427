#pragma once

#include <functional>

namespace murlo {

/// Hooks for diagnosis that another process of the same user can pull. Main thread.
class DiagnosticNotifications {
public:
    std::function<void()> onProbe;    ///< "murlo.probe": write a report about the text boxes
    std::function<void()> onIm;       ///< "murlo.im": log whether keys may be listened to
    std::function<void()> onSnapshot; ///< "murlo.snapshot": render the screens into pictures

    DiagnosticNotifications() = default;
    DiagnosticNotifications(const DiagnosticNotifications&) = delete;
    DiagnosticNotifications& operator=(const DiagnosticNotifications&) = delete;
    virtual ~DiagnosticNotifications() = default;

    /// Begins to listen; handlers may be set before or after.
    virtual void start() = 0;
};

} // namespace murlo
