#include "tests/harness/desktop/DeepModel.h"

#include <QByteArray>
#include <QDataStream>
#include <QFile>
#include <QList>
#include <QtEndian>

namespace murlo {

namespace {

constexpr qint32 magic = 0x67676d6c;
constexpr int encoderLayersAt = 20; ///< in bytes: where the file counts the encoder's layers
constexpr int headSize = 48;
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

qint32 number(QDataStream& from) {
    qint32 value = 0;
    from >> value;
    return value;
}

QByteArray take(QDataStream& from, qint64 size) {
    if (size < 0 || size > from.device()->bytesAvailable())
        from.setStatus(QDataStream::ReadCorruptData);
    return from.status() == QDataStream::Ok ? from.device()->read(size) : QByteArray();
}

Tensor readTensor(QDataStream& from) {
    Tensor tensor;
    const qint32 dimensions = number(from);
    const qint32 nameLength = number(from);
    tensor.kind = number(from);
    qint64 numbers = 1;
    for (qint32 i = 0; i < dimensions && i < 4; ++i) {
        tensor.sizes.append(number(from));
        numbers *= tensor.sizes.last();
    }
    tensor.name = take(from, nameLength);
    tensor.values = take(from, bytesOf(tensor.kind, numbers));
    if (tensor.values.isEmpty()) from.setStatus(QDataStream::ReadCorruptData);
    return tensor;
}

/// Writes a layer's tensor as one that adds nothing: its last projections are zero.
void writeIdle(QDataStream& to, const Tensor& tensor, int layer) {
    QByteArray name = tensor.name;
    name.replace(firstBlock, "encoder.blocks." + QByteArray::number(layer) + '.');
    QByteArray values = tensor.values;
    if (name.contains(".attn.out.") || name.contains(".mlp.2.")) values.fill(0);
    to << static_cast<qint32>(tensor.sizes.size()) << static_cast<qint32>(name.size())
       << tensor.kind;
    for (const qint32 size : tensor.sizes) to << size;
    to.writeRawData(name.constData(), static_cast<int>(name.size()));
    to.writeRawData(values.constData(), static_cast<int>(values.size()));
}

} // namespace

bool writeDeepModel(const QString& source, const QString& target, int layers) {
    QFile from(source);
    if (!from.open(QIODevice::ReadOnly)) return false;
    QByteArray model = from.readAll();
    QDataStream in(model);
    in.setByteOrder(QDataStream::LittleEndian);
    if (number(in) != magic) return false;
    in.skipRawData(headSize - 4);
    const qint32 bands = number(in);
    (void)take(in, 4LL * bands * number(in));
    for (qint32 words = number(in); words > 0 && in.status() == QDataStream::Ok; --words)
        (void)take(in, number(in));
    QList<Tensor> block;
    while (in.status() == QDataStream::Ok && !in.atEnd()) {
        Tensor tensor = readTensor(in);
        if (tensor.name.startsWith(firstBlock)) block.append(std::move(tensor));
    }
    if (in.status() != QDataStream::Ok || block.isEmpty()) return false;

    const auto before = qFromLittleEndian<qint32>(model.constData() + encoderLayersAt);
    qToLittleEndian<qint32>(layers, model.data() + encoderLayersAt);
    QDataStream out(&model, QIODevice::Append);
    out.setByteOrder(QDataStream::LittleEndian);
    for (int layer = before; layer < layers; ++layer)
        for (const Tensor& tensor : std::as_const(block)) writeIdle(out, tensor, layer);
    QFile to(target);
    return to.open(QIODevice::WriteOnly) && to.write(model) == model.size();
}

} // namespace murlo
