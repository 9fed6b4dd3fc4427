#include "MurloKit/ErrorReport.h"

#include "MurloKit/Dates.h"

#include <QTextBoundaryFinder>

namespace murlo {

namespace {

QString limited(const QString& text, int units) {
    if (text.size() <= units) return text;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.setPosition(units);
    if (!finder.isAtBoundary()) finder.toPreviousBoundary();
    return text.left(finder.position());
}

} // namespace

ErrorReport ErrorReport::report(const QString& kind, const QString& message,
                                const QString& appVersion, const QDateTime& now) {
    return {QUuid::createUuid(), limited(kind, longestKind), limited(message, longestMessage), now,
            appVersion};
}

QJsonObject ErrorReport::toJson() const {
    return {{QStringLiteral("id"), uuidText(id)},
            {QStringLiteral("kind"), kind},
            {QStringLiteral("message"), message},
            {QStringLiteral("clientTs"), isoSeconds(clientTs)},
            {QStringLiteral("appVersion"), appVersion}};
}

} // namespace murlo
