#include "platform/linux/freedesktop/ExecLine.h"

#include <QRegularExpression>

namespace murlo {

QString execArgument(const QString& argument) {
    static const QRegularExpression plain(QStringLiteral("^[A-Za-z0-9/._+:@-]+\\z"));
    if (plain.match(argument).hasMatch()) return argument;
    QString quoted;
    for (const QChar c : argument) {
        if (QStringLiteral("\"`$\\").contains(c)) quoted += QStringLiteral("\\\\");
        if (c == QLatin1Char('%') || c == QLatin1Char('\\')) quoted += c; // twice
        quoted += c;
    }
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace murlo
