#include "platform/linux/freedesktop/ExecLine.h"

namespace murlo {

QString execQuoted(const QString& argument) {
    QString quoted;
    for (const QChar c : argument) {
        if (QStringLiteral("\"`$\\").contains(c)) quoted += QStringLiteral("\\\\");
        if (c == QLatin1Char('%') || c == QLatin1Char('\\')) quoted += c; // twice
        quoted += c;
    }
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

} // namespace murlo
