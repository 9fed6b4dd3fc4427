#include "setup/ModelFile.h"

#include <QIODevice>
#include <QtEndian>

#include <array>
#include <limits>
#include <optional>
#include <utility>

namespace murlo {

namespace {

constexpr quint32 magic = 0x67676d6c; // GGML_FILE_MAGIC, little endian as all numbers are
constexpr qint64 parameters = 11;     // 32-bit numbers that follow the magic
constexpr int mostDimensions = 4;

/// How ggml keeps the numbers of a tensor: in blocks.
struct Block {
    qint32 type;    ///< its number in `ggml_type`
    qint64 numbers; ///< in a block
    qint64 bytes;   ///< of a block
};

/// The types that ggml's quantisation makes.
constexpr std::array blocks{
    Block{0, 1, 4},      Block{1, 1, 2},      Block{2, 32, 18},    Block{3, 32, 20},
    Block{6, 32, 22},    Block{7, 32, 24},    Block{8, 32, 34},    Block{10, 256, 84},
    Block{11, 256, 110}, Block{12, 256, 144}, Block{13, 256, 176}, Block{14, 256, 210},
};

const Block* blockOf(qint32 type) {
    for (const Block& block : blocks)
        if (block.type == type) return &block;
    return nullptr;
}

/// A product of counts that are not negative; nothing when it is larger than any file.
std::optional<qint64> product(qint64 one, qint64 other) {
    if (one < 0 || other < 0) return std::nullopt;
    if (other > 0 && one > std::numeric_limits<qint64>::max() / other) return std::nullopt;
    return one * other;
}

/// Goes through a model, part by part. Each step is false when the file ends before it does.
class Walk {
public:
    explicit Walk(QIODevice& file)
        : m_file(file) {}

    [[nodiscard]] bool prelude() {
        const auto first = number();
        return first && static_cast<quint32>(*first) == magic && skip(parameters * 4) &&
               filters() && vocabulary();
    }
    [[nodiscard]] bool tensors() {
        if (m_file.atEnd()) return false; // a model has some
        while (!m_file.atEnd()) {
            const auto dimensions = number();
            const auto nameLength = number();
            const auto type = number();
            if (!dimensions || !nameLength || !type || *dimensions < 0 ||
                *dimensions > mostDimensions)
                return false;
            std::optional<qint64> count = 1;
            for (int i = 0; i < *dimensions; ++i) {
                const auto length = number();
                if (!length || !count) return false;
                count = product(*count, *length);
            }
            const Block* block = blockOf(*type);
            if (block == nullptr) return true;
            if (!count || *count % block->numbers != 0) return false;
            const auto bytes = product(*count / block->numbers, block->bytes);
            if (!bytes || !skip(*nameLength) || !skip(*bytes)) return false;
        }
        return true;
    }

private:
    [[nodiscard]] std::optional<qint32> number() {
        std::array<char, 4> bytes{};
        if (m_file.read(bytes.data(), bytes.size()) != static_cast<qint64>(bytes.size()))
            return std::nullopt;
        return qFromLittleEndian<qint32>(bytes.data());
    }
    [[nodiscard]] bool skip(qint64 bytes) {
        const qint64 at = m_file.pos();
        return bytes >= 0 && bytes <= m_file.size() - at && m_file.seek(at + bytes);
    }
    [[nodiscard]] bool filters() {
        const auto bands = number();
        const auto frequencies = number();
        if (!bands || !frequencies) return false;
        const auto count = product(*bands, *frequencies);
        const auto bytes = count ? product(*count, 4) : std::nullopt;
        return bytes && skip(*bytes);
    }
    [[nodiscard]] bool vocabulary() {
        const auto tokens = number();
        if (!tokens) return false;
        for (qint32 i = 0; i < *tokens; ++i) {
            const auto length = number();
            if (!length || !skip(*length)) return false;
        }
        return true;
    }

    QIODevice& m_file;
};

} // namespace

bool ModelFile::beginsAsModel(const QByteArray& bytes) {
    return bytes.size() >= magicBytes && qFromLittleEndian<quint32>(bytes.constData()) == magic;
}

bool ModelFile::isWhole(QIODevice& file) {
    Walk walk(file);
    return file.seek(0) && walk.prelude() && walk.tensors();
}

} // namespace murlo
