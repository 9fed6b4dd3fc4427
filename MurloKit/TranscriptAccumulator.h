#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo {

/// One word of a live transcript. The id is its position in the whole list and its text, so that
/// the same word in the same place keeps its identity from one update to the next.
struct TranscriptWord {
    QString id;
    QString text;

    TranscriptWord() = default;
    TranscriptWord(qsizetype position, const QString& word)
        : id(QString::number(position) + QLatin1Char('|') + word)
        , text(word) {}

    friend bool operator==(const TranscriptWord&, const TranscriptWord&) = default;
};

/// Words of a text cut at single blanks, empty pieces left out.
[[nodiscard]] QStringList wordsOf(const QString& text);
/// The same, as transcript words.
[[nodiscard]] QList<TranscriptWord> transcriptWords(const QStringList& words);

/// Merges preview transcripts of a sliding window of audio into one stable list of words: a word is
/// locked once `lockMargin` newer words follow it, and a new preview is aligned with what is known
/// by comparing words without case and outer punctuation.
class TranscriptAccumulator {
public:
    explicit TranscriptAccumulator(int lockMargin)
        : m_lockMargin(lockMargin) {}

    /// Merges one preview. A preview that does not fit what is locked changes nothing.
    void ingest(const QString& text);
    void reset();

    [[nodiscard]] QList<TranscriptWord> words() const {
        return transcriptWords(m_committed + m_pending);
    }
    /// Locked words: never changed again.
    [[nodiscard]] const QStringList& committed() const { return m_committed; }
    /// The tail, at most `lockMargin` words, which the next preview replaces.
    [[nodiscard]] const QStringList& pending() const { return m_pending; }

    /// Index in `existing` at which `incoming` begins, or nothing: the start whose overlap agrees
    /// in at least 60 % of its words, preferring a longer overlap, then a better agreement, then
    /// the earlier start.
    [[nodiscard]] static std::optional<qsizetype> alignmentStart(const QStringList& existing,
                                                                 const QStringList& incoming);

private:
    void promote();

    int m_lockMargin;
    QStringList m_committed;
    QStringList m_pending;
};

} // namespace murlo
