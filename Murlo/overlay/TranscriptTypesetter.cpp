#include "overlay/TranscriptTypesetter.h"

#include "look/Look.h"

#include <QFontMetricsF>

namespace murlo::TranscriptTypesetter {

const QFont& attributes() {
    static const QFont font = [] {
        QFont words = Look::font(Look::words, QFont::Medium);
        words.setLetterSpacing(QFont::AbsoluteSpacing, 0.1);
        return words;
    }();
    return font;
}

QHash<QString, double>& widthCache() {
    static QHash<QString, double> cache;
    return cache;
}

double width(const QString& word) {
    QHash<QString, double>& cache = widthCache();
    const auto known = cache.constFind(word);
    if (known != cache.constEnd()) return *known;
    const double measured = std::ceil(QFontMetricsF(attributes()).horizontalAdvance(word));
    cache.insert(word, measured);
    return measured;
}

QList<PlacedWord> layout(const QList<TranscriptWord>& words, double available) {
    QList<PlacedWord> placed;
    placed.reserve(words.size());
    double x = 0;
    int line = 0;
    for (const TranscriptWord& word : words) {
        const double wide = width(word.text);
        if (x > 0 && x + wide > available) {
            ++line;
            x = 0;
        }
        placed.append({word.id, word.text, x, line});
        x += wide + wordGap;
    }
    return placed;
}

} // namespace murlo::TranscriptTypesetter
