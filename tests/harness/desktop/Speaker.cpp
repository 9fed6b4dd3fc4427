#include "tests/harness/desktop/Speaker.h"

#include "tests/harness/desktop/Waiting.h"

namespace murlo {

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

} // namespace murlo
