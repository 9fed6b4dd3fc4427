#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace murlo {

/// Base64 with "-" and "_" and without padding (RFC 4648, section 5).
[[nodiscard]] inline QString base64Url(const QByteArray& bytes) {
    return QString::fromLatin1(
        bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
}

/// Reads it, with or without padding; nothing if a character is foreign to it.
[[nodiscard]] inline std::optional<QByteArray> fromBase64Url(const QByteArray& text) {
    auto result = QByteArray::fromBase64Encoding(text, QByteArray::Base64UrlEncoding |
                                                           QByteArray::AbortOnBase64DecodingErrors);
    if (!result) return std::nullopt;
    return std::move(*result);
}

} // namespace murlo
