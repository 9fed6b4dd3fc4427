#include "MurloKit/Characters.h"

#include <QTextBoundaryFinder>

namespace murlo {

qsizetype Characters::count(const QString& text) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    qsizetype characters = 0;
    while (finder.toNextBoundary() > 0) ++characters;
    return characters;
}

} // namespace murlo
