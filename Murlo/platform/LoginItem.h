#pragma once

namespace murlo {

/// Whether the desktop starts this application at login. Main thread.
class LoginItem {
public:
    LoginItem() = default;
    LoginItem(const LoginItem&) = delete;
    LoginItem& operator=(const LoginItem&) = delete;
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual bool isEnabled() const = 0;
    /// Registers or unregisters; a failure is logged and leaves things as they were.
    virtual void setEnabled(bool enabled) = 0;
};

} // namespace murlo
