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
    if (endsWithComma(word) && word.size() > 1) word.chop(1);
}

/// Whether a line is kept as it is: indented code.
bool isIndented(const QString& line) {
    return line.startsWith(QLatin1String("    ")) || line.startsWith(QLatin1Char('\t'));
}

QStringList wordsOf(QString line) {
    return line.replace(QLatin1Char('\t'), QLatin1Char(' '))
        .split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// Whether a single mark of punctuation went to the plain word before it, or can be left out there.
bool joined(QStringList& words, const QString& mark) {
    if (mark.size() != 1 || !QStringView(u",.!?;:").contains(mark[0]) || words.isEmpty())
        return false;
    const EnglishWord before(words.last());
    if (!before.isPlain()) return false;
    if (before.ending().isEmpty() || (before.ending() == comma && mark != comma)) {
        chopComma(words.last());
        words.last() += mark;
        return true;
    }
    return mark == comma;
}

/// What stood behind a dropped word goes to the one before it, as far as it still means something.
void inherit(QStringList& words, QStringView ending) {
    if (words.isEmpty() || ending.isEmpty()) return;
    QString& before = words.last();
    const bool sentenceEnd = EnglishWord(QStringLiteral("so") + ending.toString()).endsSentence();
    chopComma(before);
    if (sentenceEnd && EnglishWord(before).ending().isEmpty()) before += ending;
}

QStringList withoutFillers(const QStringList& words) {
    QStringList out;
    for (const QString& text : words) {
        const EnglishWord word(text);
        if (word.isFiller())
            inherit(out, word.ending());
        else
            out << text;
    }
    return out;
}

QStringList withoutLoneMarks(const QStringList& words) {
    QStringList out;
    for (const QString& word : words)
        if (!joined(out, word)) out << word;
    return out;
}

/// Takes the words of a line one by one and leaves out comments and repetitions. It looks at what
/// it kept alone, so that a second run meets the same neighbours.
class Tidied {
public:
    explicit Tidied(bool prose)
        : m_prose(prose) {}

    void take(const QString& text, bool last) {
        const EnglishWord word(text);
        if (m_prose && joined(m_words, text)) return; // a comment stood between
        if (!isComment(word, last) && !isRepetition(word) && !isRepeatedPair(word)) m_words << text;
    }
    [[nodiscard]] const QStringList& words() const { return m_words; }

private:
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
        if (count < 3 || !word.isPlain()) return false;
        const EnglishWord first(m_words[count - 3]);
        const EnglishWord second(m_words[count - 2]);
        const EnglishWord again(m_words[count - 1]);
        for (const EnglishWord* each : {&again, &word}) // "on and on and on"
            if (each->key() == QLatin1String("and") || each->key() == QLatin1String("or"))
                return false;
        if (!again.isStutter() || again.key() != first.key() || second.key() != word.key() ||
            !first.ending().isEmpty() || !again.ending().isEmpty() ||
            !(second.ending().isEmpty() || second.ending() == comma))
            return false;
        m_words[count - 2] = second.core().toString() + word.ending().toString();
        m_words.removeLast();
        return true;
    }

    bool m_prose;
    QStringList m_words;
};

/// Cleans the lines of an English text one after the other.
class EnglishCleaner {
public:
    explicit EnglishCleaner(TargetGroup group)
        : m_prose(group != TargetGroup::command) {}

    [[nodiscard]] QString clean(const QString& line) {
        const auto joinedMarks = [this](const QStringList& words) {
            return m_prose ? withoutLoneMarks(words) : words;
        };
        const QStringList words = joinedMarks(withoutFillers(joinedMarks(wordsOf(line))));
        Tidied tidied(m_prose);
        for (qsizetype i = 0; i < words.size(); ++i) tidied.take(words[i], i == words.size() - 1);
        QStringList result = tidied.words();
        if (m_prose) capitalize(result);
        return result.join(QLatin1Char(' '));
    }
    /// The text's last line with the mark that its last sentence lacks.
    [[nodiscard]] QString end(const QString& line) const {
        const QStringList words = wordsOf(line);
        if (!m_prose || words.size() < shortestSentence || !words[0][0].isLetter()) return line;
        const EnglishWord last(words.last());
        if (!last.isPlain() || !last.ending().isEmpty()) return line;
        qsizetype first = words.size() - 1; // of the last sentence
        while (first > 0 && !EnglishWord(words[first - 1]).endsSentence()) --first;
        const bool asks = beginsQuestion(EnglishWord(words[first]).key(),
                                         EnglishWord(words.value(first + 1)).key());
        return line + (asks ? QLatin1Char('?') : QLatin1Char('.'));
    }

private:
    void capitalize(QStringList& words) {
        if (words.isEmpty()) m_sentenceBegins = true;
        for (QString& text : words) {
            const QString key = EnglishWord(text).key();
            const bool self = key == QLatin1String("i") || key.startsWith(QLatin1String("i'"));
            if (!key.isEmpty() && (m_sentenceBegins || self)) text[0] = text[0].toUpper();
            m_sentenceBegins = EnglishWord(text).endsSentence();
        }
    }

    bool m_prose;
    bool m_sentenceBegins = true;
};

QString withoutRuns(const QString& line) {
    return wordsOf(line).join(QLatin1Char(' '));
}

QString cleaned(const QString& text, TargetGroup group) {
    const bool english = looksEnglish(text);
    EnglishCleaner cleaner(group);
    QStringList lines = text.split(QLatin1Char('\n'));
    QString* last = nullptr; // with words
    bool fenced = false;
    for (QString& line : lines) {
        const bool fence = line.trimmed().startsWith(QLatin1String("```"));
        if (fence) fenced = !fenced;
        const bool code = fence || fenced || isIndented(line);
        const bool carriageReturn = !code && line.endsWith(QLatin1Char('\r'));
        if (carriageReturn) line.chop(1);
        if (!code) line = english ? cleaner.clean(line) : withoutRuns(line);
        if (!line.isEmpty()) last = code || !english ? nullptr : &line;
        if (carriageReturn) line += QLatin1Char('\r');
    }
    if (last) {
        const bool carriageReturn = last->endsWith(QLatin1Char('\r'));
        if (carriageReturn) last->chop(1);
        *last = cleaner.end(*last);
        if (carriageReturn) *last += QLatin1Char('\r');
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
