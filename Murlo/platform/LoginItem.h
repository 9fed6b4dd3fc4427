#pragma once

#include "platform/Port.h"

#include <QString>

#include <tl/expected.hpp>

namespace murlo {

/// Whether the desktop starts this application at login. Main thread.
class LoginItem : public Port {
public:
    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Registers or unregisters; a failure, with the platform's description, changes nothing.
    [[nodiscard]] virtual tl::expected<void, QString> setEnabled(bool enabled) = 0;
};

} // namespace murlo
