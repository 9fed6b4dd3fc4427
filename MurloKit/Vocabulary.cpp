#include "MurloKit/Vocabulary.h"

namespace murlo::Vocabulary {

namespace {
const QLatin1String separator(", ");
}

QStringList terms(const QString& stored) {
    QStringList found;
    for (const QString& piece : stored.split(QLatin1Char(','), Qt::SkipEmptyParts)) {
        const QString term = piece.trimmed();
        if (!term.isEmpty()) found.append(term);
    }
    return found;
}

QString adding(const QString& typed, const QString& stored) {
    const QString term = QString(typed).replace(QLatin1Char(','), QLatin1Char(' ')).trimmed();
    QStringList all = terms(stored);
    if (term.isEmpty() || all.contains(term)) return stored;
    all.append(term);
    return all.join(separator);
}

QString removing(const QString& term, const QString& stored) {
    QStringList all = terms(stored);
    all.removeAll(term);
    return all.join(separator);
}

} // namespace murlo::Vocabulary
