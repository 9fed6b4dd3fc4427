#include "MurloKit/Characters.h"

#include <QTextBoundaryFinder>

namespace murlo {

qsizetype Characters::count(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype characters = 0;
    while (finder.toNextBoundary() > 0) ++characters;
    return characters;
}

QString Characters::first(const QString& text, qsizetype count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype end = 0;
    for (; count > 0 && end >= 0; --count) end = finder.toNextBoundary();
    return end < 0 ? text : text.left(end);
}

} // namespace murlo
