#include "MurloBackend/polish/RulePolisher.h"

#include "MurloBackend/polish/EnglishWords.h"
#include "MurloBackend/polish/TargetGroup.h"

#include <QStringList>

namespace murlo::backend {

namespace {

const QString comma = QStringLiteral(",");
constexpr qsizetype shortestSentence = 4; // words; fewer may be a title, a name, a search

bool endsWithComma(const QString& word) {
    return word.endsWith(QLatin1Char(','));
}
void chopComma(QString& word) {
    if (endsWithComma(word)) word.chop(1);
}

/// Whether a line is kept as it is: indented code.
bool isIndented(const QString& line) {
    return line.startsWith(QLatin1String("    ")) || line.startsWith(QLatin1Char('\t'));
}

QStringList wordsOf(QString line) {
    return line.replace(QLatin1Char('\t'), QLatin1Char(' '))
        .split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// Punctuation that stands alone goes to the plain word before it.
QStringList withoutLonePunctuation(const QStringList& words) {
    QStringList out;
    for (const QString& word : words) {
        const bool lone = word.size() == 1 && QStringView(u",.!?;:").contains(word[0]);
        const EnglishWord before(out.isEmpty() ? word : out.last());
        if (!lone || !before.isPlain()) {
            out << word;
        } else if (before.ending().isEmpty()) {
            out.last() += word;
        } else if (word != comma && before.ending() == comma) {
            chopComma(out.last());
            out.last() += word;
        } else if (word != comma) {
            out << word;
        }
    }
    return out;
}

/// Takes the words of a line one by one and leaves out what was not meant. It looks at what it kept
/// alone, so that a second run meets the same neighbours.
class Tidied {
public:
    void take(const QString& text, bool last) {
        const EnglishWord word(text);
        if (word.isFiller())
            drop(word.ending());
        else if (!isComment(word, last) && !isRepetition(word) && !isRepeatedPair(word))
            m_words << text;
    }
    [[nodiscard]] const QStringList& words() const { return m_words; }

private:
    /// What stood behind a dropped word goes to the one before it, as far as it still means
    /// something.
    void drop(QStringView ending) {
        if (m_words.isEmpty() || ending.isEmpty()) return;
        QString& before = m_words.last();
        const bool sentenceEnd = EnglishWord(QStringLiteral("so") + ending.toString()).endsSentence();
        const bool stopped = !sentenceEnd || endsWithComma(before);
        if (stopped) chopComma(before);
        if (sentenceEnd && EnglishWord(before).ending().isEmpty()) before += ending;
    }
    /// "you know", "I mean" and "like" between borders of clauses: commas, or a sentence's
    /// beginning or end.
    bool isComment(const EnglishWord& word, bool last) {
        const auto is = [](const QString& key, const char* wanted) {
            return key == QLatin1String(wanted);
        };
        const QString previous = m_words.isEmpty() ? QString() : m_words.last();
        if (is(word.key(), "like")) {
            if (word.ending() != comma || !endsWithComma(previous)) return false;
            chopComma(m_words.last());
            return true;
        }
        const EnglishWord subject(previous);
        if (!subject.ending().isEmpty() || !((is(word.key(), "know") && is(subject.key(), "you")) ||
                                             (is(word.key(), "mean") && is(subject.key(), "i"))))
            return false;
        const QString before = m_words.size() > 1 ? m_words[m_words.size() - 2] : QString();
        const bool afterComma = endsWithComma(before);
        const bool atBeginning = before.isEmpty() || EnglishWord(before).endsSentence();
        const bool beforeComma = word.ending() == comma;
        const bool atEnd = word.endsSentence() || (last && word.ending().isEmpty());
        if (!(afterComma && (beforeComma || atEnd)) && !(atBeginning && beforeComma)) return false;
        m_words.removeLast();
        if (afterComma) chopComma(m_words.last());
        if (afterComma && atEnd) m_words.last() += word.ending();
        return true;
    }
    /// "the the", and "I, I".
    bool isRepetition(const EnglishWord& word) {
        if (m_words.isEmpty() || !word.isStutter()) return false;
        const EnglishWord before(m_words.last());
        if (before.key() != word.key()) return false;
        const bool commaMayBe =
            word.key() == QLatin1String("i") || word.key() == QLatin1String("the");
        if (!before.ending().isEmpty() && !(commaMayBe && before.ending() == comma)) return false;
        m_words.last() = before.core().toString() + word.ending().toString();
        return true;
    }
    /// "I want I want".
    bool isRepeatedPair(const EnglishWord& word) {
        const qsizetype count = m_words.size();
        if (count < 3 || !word.isPlain() || word.key() == QLatin1String("and") ||
            word.key() == QLatin1String("or"))
            return false;
        const EnglishWord first(m_words[count - 3]);
        const EnglishWord second(m_words[count - 2]);
        const EnglishWord again(m_words[count - 1]);
        if (!again.isStutter() || again.key() != first.key() || second.key() != word.key() ||
            !first.ending().isEmpty() || !again.ending().isEmpty() ||
            !(second.ending().isEmpty() || second.ending() == comma))
            return false;
        m_words[count - 2] = second.core().toString() + word.ending().toString();
        m_words.removeLast();
        return true;
    }

    QStringList m_words;
};

/// Tidies the lines of an English text one after the other.
class EnglishCleaner {
public:
    explicit EnglishCleaner(TargetGroup group)
        : m_prose(group != TargetGroup::command) {}

    [[nodiscard]] QString clean(const QString& line, bool lastLine) {
        const QStringList words = m_prose ? withoutLonePunctuation(wordsOf(line)) : wordsOf(line);
        Tidied tidied;
        for (qsizetype i = 0; i < words.size(); ++i) tidied.take(words[i], i == words.size() - 1);
        QStringList result = tidied.words();
        if (!m_prose) return result.join(QLatin1Char(' '));
        if (result.isEmpty()) m_sentenceBegins = true;
        qsizetype sentence = 0; // where the last one of the line begins
        for (qsizetype i = 0; i < result.size(); ++i) {
            if (m_sentenceBegins) sentence = i;
            capitalize(result[i]);
            m_sentenceBegins = EnglishWord(result[i]).endsSentence();
        }
        if (lastLine) end(result, sentence);
        return result.join(QLatin1Char(' '));
    }

private:
    void capitalize(QString& text) const {
        const QString key = EnglishWord(text).key();
        const bool self = key == QLatin1String("i") || key.startsWith(QLatin1String("i'"));
        if (!key.isEmpty() && (m_sentenceBegins || self)) text[0] = text[0].toUpper();
    }
    static void end(QStringList& words, qsizetype sentence) {
        if (words.size() < shortestSentence) return;
        const EnglishWord last(words.last());
        const QString opening = words.first();
        const bool listed = !opening.front().isLetter();
        if (listed || !last.isPlain() || !last.ending().isEmpty()) return;
        const QString first = EnglishWord(words[sentence]).key();
        const QString second = EnglishWord(words.value(sentence + 1)).key();
        words.last() += beginsQuestion(first, second) ? QLatin1Char('?') : QLatin1Char('.');
    }

    bool m_prose;
    bool m_sentenceBegins = true;
};

QString cleaned(const QString& text, TargetGroup group) {
    const bool english = looksEnglish(text);
    EnglishCleaner cleaner(group);
    QStringList lines = text.split(QLatin1Char('\n'));
    qsizetype last = lines.size() - 1;
    while (last > 0 && lines[last].trimmed().isEmpty()) --last;
    bool fenced = false;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        QString& line = lines[i];
        const bool fence = line.trimmed().startsWith(QLatin1String("```"));
        if (fence) fenced = !fenced;
        if (fence || fenced || isIndented(line)) continue;
        const bool carriageReturn = line.endsWith(QLatin1Char('\r'));
        if (carriageReturn) line.chop(1);
        line = english ? cleaner.clean(line, i == last) : wordsOf(line).join(QLatin1Char(' '));
        if (carriageReturn) line += QLatin1Char('\r');
    }
    return lines.join(QLatin1Char('\n'));
}

class RulePolisher : public Polisher {
public:
    void polish(const QString& text, const std::optional<QString>& targetApp,
                std::function<void(tl::expected<QString, int>)> done) override {
        const QString result = cleaned(text, targetGroupOf(targetApp));
        // Nothing but fillers: better said than lost.
        done(result.trimmed().isEmpty() ? text : result);
    }
};

} // namespace

std::unique_ptr<Polisher> makeRulePolisher() {
    return std::make_unique<RulePolisher>();
}

} // namespace murlo::backend
