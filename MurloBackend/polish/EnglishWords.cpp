#include "MurloBackend/polish/EnglishWords.h"

#include <QSet>

#include <algorithm>

namespace murlo::backend {

namespace {

using Words = QSet<QString>;

Words words(const char* separatedByBlanks) {
    const QStringList list = QString::fromUtf8(separatedByBlanks).split(QLatin1Char(' '));
    return {list.begin(), list.end()};
}

bool isPunctuation(QChar c) {
    return QStringView(u",.!?;:\u2026").contains(c);
}

/// The key of a plain word, empty for others.
QString keyOf(QStringView core) {
    if (core.isEmpty() || !core.front().isLetter() || !core.back().isLetter()) return {};
    for (qsizetype i = 0; i < core.size(); ++i) {
        const QChar c = core[i];
        const bool apostrophe = c == QLatin1Char('\'') || c == QChar(0x2019);
        if (!apostrophe && (!c.isLetter() || (i > 0 && c.isUpper()))) return {};
    }
    return core.toString().toLower().replace(QChar(0x2019), QLatin1Char('\''));
}

} // namespace

EnglishWord::EnglishWord(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && isPunctuation(text[end - 1])) --end;
    m_core = QStringView(text).first(end);
    m_ending = QStringView(text).mid(end);
    m_key = keyOf(m_core);
}

bool EnglishWord::isFiller() const {
    static const Words fillers = words("um umm ummm uhm uh uhh uhhh erm");
    static const Words endings = words(", . ! ? ... \u2026");
    return fillers.contains(m_key) && (m_ending.isEmpty() || endings.contains(m_ending.toString()));
}

bool EnglishWord::isStutter() const {
    static const Words stutters = words("i the a an to of and or but we he she they my your our "
                                        "their his with from at if can because");
    return stutters.contains(m_key);
}

bool EnglishWord::endsSentence() const {
    static const Words abbreviations =
        words("mr mrs ms dr prof st vs etc no fig approx inc ltd co jr sr");
    if (m_ending.isEmpty() || m_ending.contains(QChar(0x2026)) || m_ending.contains(u"..."))
        return false;
    const QChar last = m_ending.back();
    if (last == QLatin1Char('!') || last == QLatin1Char('?')) return true;
    if (last != QLatin1Char('.')) return false;
    const bool initial = m_core.size() == 1 && m_key != QLatin1String("i");
    return !initial && !m_core.contains(QLatin1Char('.')) && !abbreviations.contains(m_key);
}

bool looksEnglish(const QString& text) {
    static const Words english = words(
        "the and you that this with have has are what it i i'm it's i'll i've don't let's of my "
        "your please should would could they there from be to we is can do does for he she who "
        "how why when where which about because just know think want need not but if at hello "
        "thanks yes okay some them then than these those into make");
    static const Words neighbours = words(
        "und der die das ist nicht ich ein eine wir sie mit auf zu von um wenn aber noch le les "
        "des est et une je vous nous pas que qui dans avec el los las una para pero está esto "
        "het een van niet dat ik och att det som jag il che non sono di não uma você é og på");
    qsizetype all = 0, ours = 0, theirs = 0, marked = 0;
    for (const QStringView piece : QStringView(text).tokenize(u' ', Qt::SkipEmptyParts)) {
        const QString trimmed = piece.trimmed().toString();
        const EnglishWord word(trimmed);
        if (word.key().isEmpty()) continue;
        ++all;
        if (english.contains(word.key())) ++ours;
        // "um" is a filler here and a preposition elsewhere: beside English words it does not
        // count.
        if (neighbours.contains(word.key()) && !word.isFiller()) ++theirs;
        const auto beyond = [](QChar c) { return c.unicode() > 127 && c != QChar(0x2019); };
        if (std::any_of(word.core().begin(), word.core().end(), beyond)) ++marked;
    }
    return ours > 0 && ours * 10 >= all && ours > 2 * theirs && marked * 10 <= all;
}

bool beginsQuestion(const QString& first, const QString& second) {
    static const Words auxiliaries =
        words("is are was were do does did can could would should will have has");
    static const Words subjects = words("i you we they he she it there this that these those");
    static const Words asking = words("what where when who why how which");
    if (auxiliaries.contains(first)) return subjects.contains(second);
    return asking.contains(first) && auxiliaries.contains(second);
}

} // namespace murlo::backend
