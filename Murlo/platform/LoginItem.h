#pragma once

#include "platform/Port.h"

#include <QString>

#include <tl/expected.hpp>

namespace murlo {

/// Whether the desktop starts this application at login. Main thread.
class LoginItem : public Port {
public:
    /// What the desktop starts the application with: it takes no focus then.
    static constexpr const char* argument = "--login";

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Registers or unregisters. An application that was only built, not installed, is not
    /// registered. A failure, with the platform's description, changes nothing.
    [[nodiscard]] virtual tl::expected<void, QString> setEnabled(bool enabled) = 0;
};

} // namespace murlo
