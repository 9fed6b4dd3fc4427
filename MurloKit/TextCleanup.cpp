#include "MurloKit/TextCleanup.h"

#include <QRegularExpression>

#include <algorithm>

namespace murlo::TextCleanup {

namespace {

const QRegularExpression& noiseMarkers() {
    static const QRegularExpression pattern(
        QStringLiteral(R"([\[\(](?:BLANK_AUDIO|INAUDIBLE|SILENCE|MUSIC|NOISE|APPLAUSE|LAUGHTER|)"
                       R"(sighs?|coughs?|clears throat)[^\]\)]*[\]\)])"),
        QRegularExpression::CaseInsensitiveOption);
    return pattern;
}

} // namespace

QString clean(QString text) {
    static const QRegularExpression blanks(QStringLiteral("[ \\t]{2,}"));
    static const QRegularExpression lineFeeds(QStringLiteral("\\n{3,}"));
    // Behind the last closing bracket nothing can match; looking there for the end of each opened
    // marker would take quadratic time.
    const auto end =
        std::max(text.lastIndexOf(QLatin1Char(']')), text.lastIndexOf(QLatin1Char(')')));
    QString cleaned = text.left(end + 1).remove(noiseMarkers()) + text.mid(end + 1);
    return cleaned.replace(blanks, QStringLiteral(" "))
        .replace(lineFeeds, QStringLiteral("\n\n"))
        .trimmed();
}

} // namespace murlo::TextCleanup
