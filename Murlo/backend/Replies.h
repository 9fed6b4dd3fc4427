#pragma once

#include "MurloKit/ReleaseInfo.h"

#include <QByteArray>
#include <QString>

#include <optional>

/// What the backend's replies of status 200 say; nothing for a body that is not the operation's.
/// Unknown members are ignored. Pure functions.
namespace murlo::Replies {

/// A string member of the reply's object.
[[nodiscard]] std::optional<QString> text(const QByteArray& body, const QString& member);
/// The member "accepted", a whole number that fits.
[[nodiscard]] std::optional<int> accepted(const QByteArray& body);
/// The member "settings" as JSON, or an inner nothing where it is absent or null.
[[nodiscard]] std::optional<std::optional<QByteArray>> settings(const QByteArray& body);
[[nodiscard]] std::optional<ReleaseInfo> release(const QByteArray& body);

} // namespace murlo::Replies
