#include "MurloBackend/identity/Base64Url.h"

#include <QRandomGenerator>

#include <array>

namespace murlo::backend::Base64Url {

namespace {
constexpr auto alphabet = QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals;
} // namespace

QByteArray encode(const QByteArray& bytes) {
    return bytes.toBase64(alphabet);
}

std::optional<QByteArray> decode(const QByteArray& text) {
    auto result =
        QByteArray::fromBase64Encoding(text, alphabet | QByteArray::AbortOnBase64DecodingErrors);
    if (!result || encode(result.decoded) != text) return std::nullopt;
    return result.decoded;
}

QByteArray randomSecret() {
    std::array<quint32, 8> words{};
    QRandomGenerator::system()->fillRange(words.data(), words.size());
    return encode(QByteArray(reinterpret_cast<const char*>(words.data()), sizeof words));
}

} // namespace murlo::backend::Base64Url
