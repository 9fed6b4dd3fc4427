#pragma once

#include "platform/Port.h"

namespace murlo {

/// Whether the desktop starts this application at login. Main thread.
class LoginItem : public Port {
public:
    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Registers or unregisters; a failure is logged and leaves things as they were.
    virtual void setEnabled(bool enabled) = 0;
};

} // namespace murlo
