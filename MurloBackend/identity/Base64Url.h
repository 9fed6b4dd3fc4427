#pragma once

#include <QByteArray>

#include <optional>

namespace murlo::backend {

/// base64url without padding (RFC 4648, section 5), as tokens and PKCE use it.
namespace Base64Url {

[[nodiscard]] QByteArray encode(const QByteArray& bytes);
/// Nothing for foreign characters, padding, or bits that no encoder leaves behind.
[[nodiscard]] std::optional<QByteArray> decode(const QByteArray& text);
/// A fresh secret of 256 random bits: 43 characters.
[[nodiscard]] QByteArray randomSecret();

} // namespace Base64Url
} // namespace murlo::backend
