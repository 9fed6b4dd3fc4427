#pragma once

#include <QString>

#include <optional>

namespace murlo::backend {

/// What kind of application a text goes to.
enum class TargetGroup {
    command, ///< terminals, coding agents and code editors
    message, ///< chats and mail
    other
};

/// By the application's identifier (on Linux its desktop file's id, such as "org.gnome.Terminal"),
/// whatever the case; `other` for what is unknown.
[[nodiscard]] TargetGroup targetGroupOf(const std::optional<QString>& targetApp);

} // namespace murlo::backend
