#include "tools/demo/Recording.h"

#include <QFile>
#include <QMap>
#include <QtEndian>

namespace murlo {

namespace {

using Parts = QMap<QByteArray, QByteArray>;

quint32 bytesPerSecond(const Parts& wav) {
    return qFromLittleEndian<quint32>(wav["fmt "].constData() + 8);
}

quint16 bytesPerFrame(const Parts& wav) {
    return qFromLittleEndian<quint16>(wav["fmt "].constData() + 12);
}

/// The parts of a PCM WAV file by their names, "data" at most as long as the file has it: a
/// stream's writer may not have known the length. Empty when it is none.
Parts partsOf(const QByteArray& wav) {
    Parts parts;
    if (!wav.startsWith("RIFF") || wav.mid(8, 4) != "WAVE") return {};
    for (qsizetype at = 12; at + 8 <= wav.size() && !parts.contains("data");) {
        const auto length = qFromLittleEndian<quint32>(wav.constData() + at + 4);
        parts.insert(wav.mid(at, 4), wav.mid(at + 8, length));
        at += 8 + length + (length & 1);
    }
    const QByteArray format = parts.value("fmt ");
    const bool isPcm = format.size() >= 16 && format.startsWith(QByteArray("\1\0", 2)) &&
                       bytesPerSecond(parts) > 0 && bytesPerFrame(parts) > 0;
    return isPcm ? parts : Parts();
}

QByteArray contents(const QString& file) {
    QFile wav(file);
    return wav.open(QIODevice::ReadOnly) ? wav.readAll() : QByteArray();
}

} // namespace

double Recording::duration(const QString& file) {
    const auto parts = partsOf(contents(file));
    return parts.isEmpty() ? 0 : double(parts["data"].size()) / bytesPerSecond(parts);
}

QByteArray Recording::padded(const QString& file, double seconds) {
    QByteArray wav = contents(file);
    const auto parts = partsOf(wav);
    if (parts.isEmpty()) return wav;
    const QByteArray format = parts["fmt "].left(16);
    QByteArray data = parts["data"];
    const auto frame = bytesPerFrame(parts);
    const auto wanted = static_cast<qsizetype>(seconds * bytesPerSecond(parts)) / frame * frame;
    if (wanted > data.size()) data.append(wanted - data.size(), '\0');
    const auto length = [](qsizetype bytes) {
        const auto number = qToLittleEndian(static_cast<quint32>(bytes));
        return QByteArray(reinterpret_cast<const char*>(&number), sizeof number);
    };
    return "RIFF" + length(data.size() + 36) + "WAVEfmt " + length(16) + format + "data" +
           length(data.size()) + data;
}

} // namespace murlo
