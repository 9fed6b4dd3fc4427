#include "tests/harness/desktop/Speaker.h"

#include "tests/harness/desktop/Waiting.h"

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

tl::expected<void, QString> Speaker::synthesize(const QString& text, const QString& file) {
    QProcess voice;
    voice.setProcessChannelMode(QProcess::MergedChannels);
    voice.start(QStringLiteral("espeak-ng"),
                {QStringLiteral("-v"), QStringLiteral("en-us"), QStringLiteral("-s"),
                 QStringLiteral("160"), QStringLiteral("-w"), file, QStringLiteral("--"), text});
    if (!voice.waitForFinished(60000) || voice.exitStatus() != QProcess::NormalExit ||
        voice.exitCode() != 0) {
        return tl::unexpected(QStringLiteral("espeak-ng could not speak: ") + voice.errorString() +
                              QLatin1Char(' ') + QString::fromUtf8(voice.readAll()).trimmed());
    }
    return {};
}

double Speaker::duration(const QString& file) {
    const auto parts = partsOf(contents(file));
    return parts.isEmpty() ? 0 : double(parts["data"].size()) / bytesPerSecond(parts);
}

QByteArray Speaker::padded(const QString& file, double seconds) {
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

bool Speaker::play(const QString& file) {
    stop();
    m_player.setProcessChannelMode(QProcess::MergedChannels);
    m_player.start(QStringLiteral("paplay"),
                   {QStringLiteral("--device=") + QLatin1String(sink), file});
    return m_player.waitForStarted();
}

bool Speaker::finish() {
    const bool ended =
        waitFor([this] { return m_player.state() == QProcess::NotRunning; }, 330'000);
    return ended && m_player.exitStatus() == QProcess::NormalExit && m_player.exitCode() == 0;
}

void Speaker::stop() {
    if (m_player.state() == QProcess::NotRunning) return;
    m_player.kill();
    m_player.waitForFinished();
}

} // namespace murlo
