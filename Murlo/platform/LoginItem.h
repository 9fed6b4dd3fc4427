#pragma once

#include <QString>

#include <tl/expected.hpp>

namespace murlo {

/// Whether the desktop starts this application at login. Main thread.
class LoginItem {
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Registers or unregisters; a failure, with the platform's description, leaves things as they
    /// were.
    [[nodiscard]] virtual tl::expected<void, QString> setEnabled(bool enabled) = 0;
};

} // namespace murlo
