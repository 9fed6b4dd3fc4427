#include "MurloKit/SemanticVersion.h"

#include <QStringList>

#include <algorithm>
#include <limits>

namespace murlo {

namespace {

/// Digits, after one sign at most; `QString::toLongLong` would also take blanks and line breaks.
std::optional<qint64> parsePart(const QString& part) {
    qsizetype at = 0;
    const bool negative = part.startsWith(QLatin1Char('-'));
    if (negative || part.startsWith(QLatin1Char('+'))) at = 1;
    if (at == part.size()) return std::nullopt;
    qint64 number = 0;
    for (; at < part.size(); ++at) {
        const char16_t c = part[at].unicode();
        if (c < u'0' || c > u'9') return std::nullopt;
        const qint64 digit = c - u'0';
        if (number > (std::numeric_limits<qint64>::max() - digit) / 10) return std::nullopt;
        number = number * 10 + digit;
    }
    if (negative && number != 0) return std::nullopt;
    return number;
}

bool isBlank(QChar c) {
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

} // namespace

std::optional<SemanticVersion> SemanticVersion::parse(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin])) ++begin;
    while (end > begin && isBlank(text[end - 1])) --end;
    SemanticVersion version;
    for (const QString& part : text.mid(begin, end - begin).split(QLatin1Char('.'))) {
        const auto number = parsePart(part);
        if (!number) return std::nullopt;
        version.components.append(*number);
    }
    return version;
}

QString SemanticVersion::description() const {
    QStringList parts;
    for (const qint64 component : components) parts.append(QString::number(component));
    return parts.join(QLatin1Char('.'));
}

std::weak_ordering operator<=>(const SemanticVersion& a, const SemanticVersion& b) {
    const qsizetype longest = std::max(a.components.size(), b.components.size());
    for (qsizetype i = 0; i < longest; ++i) {
        const qint64 left = a.components.value(i);
        const qint64 right = b.components.value(i);
        if (left != right)
            return left < right ? std::weak_ordering::less : std::weak_ordering::greater;
    }
    return std::weak_ordering::equivalent;
}

} // namespace murlo
