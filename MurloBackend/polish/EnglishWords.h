#pragma once

#include <QString>
#include <QStringView>

namespace murlo::backend {

/// A word between blanks, seen as English. Refers to text that must outlive it.
class EnglishWord {
public:
    explicit EnglishWord(const QString& text);

    /// Without the punctuation at its end.
    [[nodiscard]] QStringView core() const { return m_core; }
    /// The punctuation at its end: any of , . ! ? ; : and "…".
    [[nodiscard]] QStringView ending() const { return m_ending; }
    /// The core in lower case, apostrophes straight; empty unless the word is plain.
    [[nodiscard]] const QString& key() const { return m_key; }

    /// Only letters and inner apostrophes, not more than the first in upper case: neither code nor
    /// an address, number or abbreviation.
    [[nodiscard]] bool isPlain() const { return !m_key.isEmpty(); }
    /// "um", "uh" and the like.
    [[nodiscard]] bool isFiller() const;
    /// A word that nobody says twice in a row except by a slip, such as "the"; not "had" or "you".
    [[nodiscard]] bool isStutter() const;
    /// Whether a new sentence begins behind it.
    [[nodiscard]] bool endsSentence() const;

private:
    QStringView m_core;
    QStringView m_ending;
    QString m_key;
};

/// Whether a text is most likely English: enough of the words that English cannot do without, few
/// of its neighbours', few letters with marks. In doubt not.
[[nodiscard]] bool looksEnglish(const QString& text);

/// Whether a sentence that begins with these two words (keys) asks something.
[[nodiscard]] bool beginsQuestion(const QString& first, const QString& second);

} // namespace murlo::backend
