#include "tests/harness/desktop/Speaker.h"

#include "tests/harness/desktop/Waiting.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>

namespace murlo {

namespace {

/// Where the samples of a PCM WAV file lie, and how many bytes of them make a second.
struct Samples {
    qsizetype sizeField = 0; ///< offset of the data chunk's length
    qsizetype begin = 0;
    qsizetype length = 0;
    quint32 bytesPerSecond = 0;
    quint16 bytesPerFrame = 1;
};

quint32 word(const QByteArray& bytes, qsizetype at) {
    return at + 4 <= bytes.size() ? qFromLittleEndian<quint32>(bytes.constData() + at) : 0;
}

std::optional<Samples> samplesOf(const QByteArray& wav) {
    if (!wav.startsWith("RIFF") || wav.mid(8, 4) != "WAVE") return std::nullopt;
    Samples samples;
    for (qsizetype at = 12; at + 8 <= wav.size();) {
        const QByteArray kind = wav.mid(at, 4);
        const qsizetype length = word(wav, at + 4);
        if (kind == "fmt ") {
            if ((word(wav, at + 8) & 0xffff) != 1) return std::nullopt;
            samples.bytesPerSecond = word(wav, at + 16);
            samples.bytesPerFrame = static_cast<quint16>(word(wav, at + 20) & 0xffff);
        } else if (kind == "data") {
            samples.sizeField = at + 4;
            samples.begin = at + 8;
            // A stream's writer may not have known the length.
            samples.length = std::min(length, wav.size() - samples.begin);
            break;
        }
        at += 8 + length + (length & 1);
    }
    if (samples.begin == 0 || samples.bytesPerSecond == 0 || samples.bytesPerFrame == 0)
        return std::nullopt;
    return samples;
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
    const auto samples = samplesOf(contents(file));
    return samples ? static_cast<double>(samples->length) / samples->bytesPerSecond : 0;
}

QByteArray Speaker::padded(const QString& file, double seconds) {
    QByteArray wav = contents(file);
    const auto samples = samplesOf(wav);
    if (!samples) return wav;
    wav.truncate(samples->begin + samples->length);
    const auto frames = static_cast<qsizetype>(seconds * samples->bytesPerSecond) /
                        samples->bytesPerFrame * samples->bytesPerFrame;
    if (frames > samples->length) wav.append(frames - samples->length, '\0');
    const auto patch = [&wav](qsizetype at, qsizetype value) {
        qToLittleEndian(static_cast<quint32>(value), wav.data() + at);
    };
    patch(samples->sizeField, wav.size() - samples->begin);
    patch(4, wav.size() - 8);
    return wav;
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
