#include "MurloKit/TranscriptAccumulator.h"

namespace murlo {

namespace {

constexpr double leastAgreement = 0.6;

/// Lower case, without punctuation at both ends; an apostrophe inside stays.
QString normalised(const QString& word) {
    qsizetype from = 0;
    qsizetype to = word.size();
    while (from < to && word.at(from).isPunct()) ++from;
    while (to > from && word.at(to - 1).isPunct()) --to;
    return word.mid(from, to - from).toLower();
}

QStringList normalised(const QStringList& words) {
    QStringList result;
    result.reserve(words.size());
    for (const QString& word : words) result.append(normalised(word));
    return result;
}

} // namespace

QStringList wordsOf(const QString& text) {
    return text.split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

QList<TranscriptWord> transcriptWords(const QStringList& words) {
    QList<TranscriptWord> result;
    result.reserve(words.size());
    for (const QString& word : words) result.append(TranscriptWord(result.size(), word));
    return result;
}

std::optional<qsizetype> TranscriptAccumulator::alignmentStart(const QStringList& existing,
                                                               const QStringList& incoming) {
    const QStringList known = normalised(existing);
    const QStringList heard = normalised(incoming);
    std::optional<qsizetype> best;
    qsizetype bestLength = 0;
    double bestRatio = 0;
    for (qsizetype start = 0; start < known.size(); ++start) {
        const qsizetype length = std::min(heard.size(), known.size() - start);
        qsizetype equal = 0;
        for (qsizetype k = 0; k < length; ++k) equal += known.at(start + k) == heard.at(k) ? 1 : 0;
        const double ratio = static_cast<double>(equal) / static_cast<double>(length);
        if (ratio < leastAgreement) continue;
        if (!best || length > bestLength || (length == bestLength && ratio > bestRatio)) {
            best = start;
            bestLength = length;
            bestRatio = ratio;
        }
    }
    return best;
}

void TranscriptAccumulator::ingest(const QString& text) {
    const QStringList incoming = wordsOf(text);
    if (incoming.isEmpty()) return;
    const auto start = alignmentStart(m_committed + m_pending, incoming);
    if (start) {
        const qsizetype repeated = m_committed.size() - *start;
        if (repeated > incoming.size()) return; // lies wholly inside the locked words
        const QStringList rest = incoming.mid(std::max<qsizetype>(repeated, 0));
        if (!rest.isEmpty()) m_pending = rest;
    } else if (m_committed.isEmpty() && incoming.size() > m_pending.size()) {
        m_pending = incoming;
    } else {
        return;
    }
    promote();
}

void TranscriptAccumulator::promote() {
    while (m_pending.size() > m_lockMargin) m_committed.append(m_pending.takeFirst());
}

void TranscriptAccumulator::reset() {
    m_committed.clear();
    m_pending.clear();
}

} // namespace murlo
