#include "tests/harness/desktop/DeepModel.h"

#include <QByteArray>
#include <QFile>
#include <QList>

#include <array>
#include <cstring>

namespace murlo {

namespace {

constexpr quint32 magic = 0x67676d6c;
constexpr int shapeNumbers = 11;
constexpr int encoderLayers = 4; ///< which of them counts the encoder's layers
const QByteArray firstBlock = QByteArrayLiteral("encoder.blocks.0.");

struct Tensor {
    QByteArray name;
    qint32 kind = 0;
    QList<qint32> sizes;
    QByteArray values;
};

/// Bytes that so many numbers of a kind take; 0 for kinds that the small models do not use.
qint64 bytesOf(qint32 kind, qint64 numbers) {
    switch (kind) {
    case 0: // 32-bit float
        return 4 * numbers;
    case 1: // 16-bit float
        return 2 * numbers;
    case 6: // Q5_0: 32 numbers share a scale
        return numbers / 32 * 22;
    case 8: // Q8_0
        return numbers / 32 * 34;
    default:
        return 0;
    }
}

class Reader {
public:
    explicit Reader(QByteArray bytes)
        : m_bytes(std::move(bytes)) {}

    qint32 number() {
        qint32 value = 0;
        const QByteArray four = take(4);
        if (four.size() == 4) std::memcpy(&value, four.constData(), 4);
        return value;
    }
    QByteArray take(qint64 size) {
        if (size < 0 || size > m_bytes.size() - m_at) m_broken = true;
        if (m_broken) return {};
        m_at += size;
        return m_bytes.mid(m_at - size, size);
    }
    Tensor tensor() {
        Tensor result;
        const qint32 dimensions = number();
        const qint32 nameLength = number();
        result.kind = number();
        qint64 numbers = 1;
        for (qint32 i = 0; i < dimensions && i < 4; ++i) {
            result.sizes.append(number());
            numbers *= result.sizes.last();
        }
        result.name = take(nameLength);
        const qint64 size = bytesOf(result.kind, numbers);
        m_broken = m_broken || size <= 0;
        result.values = take(size);
        return result;
    }
    [[nodiscard]] qint64 at() const { return m_at; }
    [[nodiscard]] bool isAtEnd() const { return m_broken || m_at == m_bytes.size(); }
    [[nodiscard]] bool isBroken() const { return m_broken; }
    [[nodiscard]] const QByteArray& bytes() const { return m_bytes; }

private:
    QByteArray m_bytes;
    qint64 m_at = 0;
    bool m_broken = false;
};

QByteArray written(qint32 number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

QByteArray written(const Tensor& tensor) {
    QByteArray bytes = written(static_cast<qint32>(tensor.sizes.size())) +
                       written(static_cast<qint32>(tensor.name.size())) + written(tensor.kind);
    for (const qint32 size : tensor.sizes) bytes += written(size);
    return bytes + tensor.name + tensor.values;
}

/// The layer as an identity: what it would add to its input is multiplied by nothing.
Tensor idle(Tensor tensor, int layer) {
    tensor.name.replace(firstBlock, "encoder.blocks." + QByteArray::number(layer) + '.');
    if (tensor.name.contains(".attn.out.") || tensor.name.contains(".mlp.2."))
        tensor.values.fill(0);
    return tensor;
}

} // namespace

bool writeDeepModel(const QString& source, const QString& target, int layers) {
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly)) return false;
    Reader reader(from.readAll());
    if (static_cast<quint32>(reader.number()) != magic) return false;
    std::array<qint32, shapeNumbers> shape{};
    for (qint32& number : shape) number = reader.number();
    const qint64 afterShape = reader.at();
    const qint32 mels = reader.number();
    (void)reader.take(4LL * mels * reader.number());
    for (qint32 words = reader.number(); words > 0; --words) (void)reader.take(reader.number());
    QList<Tensor> block;
    while (!reader.isAtEnd()) {
        Tensor tensor = reader.tensor();
        if (tensor.name.startsWith(firstBlock)) block.append(std::move(tensor));
    }
    if (reader.isBroken() || block.isEmpty()) return false;

    QByteArray deep = written(static_cast<qint32>(magic));
    const int before = std::exchange(shape[encoderLayers], layers);
    for (const qint32 number : shape) deep += written(number);
    deep += reader.bytes().mid(afterShape);
    for (int layer = before; layer < layers; ++layer)
        for (const Tensor& tensor : std::as_const(block)) deep += written(idle(tensor, layer));
    QFile to(target);
    return to.open(QIODevice::WriteOnly) && to.write(deep) == deep.size();
}

} // namespace murlo
