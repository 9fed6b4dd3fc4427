#include "MurloKit/WavWriter.h"

#include <QtEndian>

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace murlo {

namespace {

constexpr std::size_t headerSize = 44;
constexpr std::size_t bytesPerSample = 2;
constexpr std::size_t maximumSamples =
    (std::numeric_limits<quint32>::max() - (headerSize - 8)) / bytesPerSample;

/// Writes `value` little-endian and returns the place behind it.
template <typename Integer>
char* put(char* at, Integer value) {
    qToLittleEndian(value, at);
    return at + sizeof(Integer);
}

char* put(char* at, const char (&tag)[5]) {
    std::memcpy(at, tag, 4);
    return at + 4;
}

constexpr std::size_t blockSize = 64;
using Block = std::array<float, blockSize>;

/// One short step per loop: the compiler turns such loops into vector instructions at the ordinary
/// optimisation level, which it does not do for the four steps in one.
void encodeBlock(Block& block, char* to) {
    for (float& x : block) x = x == x ? x : 0.0F; // what is not a number
    for (float& x : block) x = x < -1.0F ? -1.0F : x;
    for (float& x : block) x = x > 1.0F ? 1.0F : x;
    std::array<qint16, blockSize> integers;
    for (std::size_t i = 0; i < blockSize; ++i) {
        integers[i] =
            qToLittleEndian(static_cast<qint16>(static_cast<qint32>(block[i] * 32767.0F)));
    }
    std::memcpy(to, integers.data(), sizeof integers);
}

void encode(std::span<const float> from, char* to) {
    Block block;
    for (; from.size() >= blockSize; from = from.subspan(blockSize)) {
        std::memcpy(block.data(), from.data(), sizeof block);
        encodeBlock(block, to);
        to += blockSize * bytesPerSample;
    }
    std::array<char, blockSize * bytesPerSample> rest;
    block.fill(0);
    std::copy(from.begin(), from.end(), block.begin());
    encodeBlock(block, rest.data());
    std::memcpy(to, rest.data(), from.size() * bytesPerSample);
}

} // namespace

QByteArray WavWriter::data(std::span<const float> samples, int sampleRate) {
    const std::size_t count = std::min(samples.size(), maximumSamples);
    const auto rate = static_cast<quint32>(sampleRate);
    const auto size = static_cast<quint32>(count * bytesPerSample);

    QByteArray clip(static_cast<qsizetype>(headerSize + size), Qt::Uninitialized);
    char* at = clip.data();
    at = put(at, "RIFF");
    at = put(at, static_cast<quint32>(headerSize - 8 + size));
    at = put(at, "WAVE");
    at = put(at, "fmt ");
    at = put(at, quint32{16}); // size of the format chunk
    at = put(at, quint16{1});  // integer PCM
    at = put(at, quint16{1});  // channels
    at = put(at, rate);
    at = put(at, static_cast<quint32>(rate * bytesPerSample)); // bytes per second
    at = put(at, static_cast<quint16>(bytesPerSample));        // bytes per frame
    at = put(at, static_cast<quint16>(bytesPerSample * 8));    // bits per sample
    at = put(at, "data");
    at = put(at, size);
    encode(samples.first(count), at);
    return clip;
}

} // namespace murlo
