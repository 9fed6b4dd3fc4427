#include "tests/harness/desktop/DeepModel.h"
#include "tests/harness/Files.h"

#include <QByteArray>
#include <QtEndian>

namespace murlo {

namespace {

constexpr qsizetype encoderLayersAt = 20; ///< where the file counts the encoder's layers
const QByteArray firstBlock = QByteArrayLiteral("encoder.blocks.0.");

qint32 number(const QByteArray& model, qsizetype at) {
    return at + 4 <= model.size() ? qFromLittleEndian<qint32>(model.constData() + at) : 0;
}

/// One layer more, made of the first one: it adds nothing, for its last projections are zero. Empty
/// when the model has no such layer.
QByteArray idleLayer(const QByteArray& model, int layer) {
    QByteArray idle;
    // A layer's tensors follow each other, a matrix first. Each tells its dimensions, the length of
    // its name, how its numbers are kept and how many there are of each dimension.
    for (qsizetype at = model.indexOf(firstBlock) - 20; at >= 0;) {
        const qint32 dimensions = number(model, at);
        const qsizetype nameAt = at + 12 + 4LL * dimensions;
        QByteArray name = model.mid(nameAt, number(model, at + 4));
        if (!name.startsWith(firstBlock)) break;
        qsizetype size = number(model, at + 8) == 0 ? 4 : 0; // 32-bit floats
        if (number(model, at + 8) == 6) size = 22;           // Q5_0: 32 numbers share a scale
        for (qint32 i = 0; i < dimensions; ++i) size *= number(model, at + 12 + 4LL * i);
        if (number(model, at + 8) == 6) size /= 32;
        if (size == 0) return {};
        const qsizetype valuesAt = nameAt + name.size();
        QByteArray values = model.mid(valuesAt, size);
        if (name.contains(".attn.out.") || name.contains(".mlp.2.")) values.fill(0);
        QByteArray head = model.mid(at, nameAt - at);
        name.replace(firstBlock, "encoder.blocks." + QByteArray::number(layer) + '.');
        qToLittleEndian(static_cast<qint32>(name.size()), head.data() + 4);
        idle += head + name + values;
        at = valuesAt + size;
    }
    return idle;
}

} // namespace

bool writeDeepModel(const QString& source, const QString& target, int layers) {
    QByteArray model = contentOf(source);
    if (!model.contains(firstBlock)) return false;
    for (int layer = number(model, encoderLayersAt); layer < layers; ++layer) {
        const QByteArray idle = idleLayer(model, layer);
        if (idle.isEmpty()) return false;
        model += idle;
    }
    qToLittleEndian<qint32>(layers, model.data() + encoderLayersAt);
    putFile(target, model);
    return true;
}

} // namespace murlo
