#include "dictation/engine/EngineOutput.h"

#include <QRegularExpression>
#include <QStringDecoder>

#include <algorithm>

namespace murlo {

namespace {

/// Such as "whisper_full_with_state: failed to encode", "/…/whisper-server: failed to process
/// audio" or "error: failed to read audio data".
bool looksLikeDiagnostic(const QString& line) {
    static const QRegularExpression start(QStringLiteral(
        "^(?:[a-z0-9]+(?:_[a-z0-9]+)+: |/\\S+: |error: (?:failed to read |server listen ))"));
    return start.match(line).hasMatch();
}

} // namespace

void EngineOutput::add(QByteArrayView piece) {
    while (!piece.isEmpty()) {
        const auto lineFeed = piece.indexOf('\n');
        const auto part = lineFeed < 0 ? piece : piece.first(lineFeed);
        const auto room = std::max<qsizetype>(0, longestLine - m_line.size());
        m_line.append(part.first(std::min(room, part.size())));
        if (lineFeed < 0) return;
        endLine();
        piece = piece.sliced(lineFeed + 1);
    }
}

void EngineOutput::endLine() {
    const QByteArray bytes = std::exchange(m_line, {});
    if (m_taken == mostLines || !(bytes.contains("error") || bytes.contains("failed"))) return;
    QStringDecoder decode(
        QStringDecoder::Utf8); // a character cut at the end of a long line is no error
    const QString line = decode(bytes);
    if (decode.hasError() || (m_heardSpeech && !looksLikeDiagnostic(line))) return;
    ++m_taken;
    m_log(line);
}

} // namespace murlo
