#include "setup/DownloadAnswer.h"

#include <QDateTime>
#include <QHostAddress>
#include <QLocale>
#include <QRegularExpression>

namespace murlo::DownloadAnswer {

namespace {

constexpr qint64 strongAfter = 60; // seconds, RFC 9110, 8.8.2.2

QDateTime dateOf(const HttpResponse& head, const char* header) {
    QDateTime date = QLocale::c().toDateTime(QString::fromLatin1(head.header(header)),
                                             QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    date.setTimeSpec(Qt::UTC);
    return date;
}

/// Whether both name the same file, as far as the answer says.
bool isSameFile(const HttpResponse& head, const QByteArray& validator) {
    const QByteArray tag = head.header("ETag");
    if (validator.startsWith('"')) return tag.isEmpty() || tag == validator;
    const QByteArray modified = head.header("Last-Modified");
    return modified.isEmpty() || modified == validator;
}

std::optional<qint64> numberOf(const QByteArray& digits) {
    static const QRegularExpression decimal(QStringLiteral("^\\d{1,18}$"));
    if (!decimal.match(QString::fromLatin1(digits)).hasMatch()) return std::nullopt;
    return digits.toLongLong();
}

} // namespace

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

std::optional<QUrl> redirectTarget(const QUrl& from, const HttpResponse& head) {
    const QByteArray location = head.header("Location");
    if (location.isEmpty()) return std::nullopt;
    const QUrl to = from.resolved(QUrl::fromEncoded(location))
                        .adjusted(QUrl::RemoveUserInfo | QUrl::RemoveFragment);
    if (!to.isValid() || to.host().isEmpty()) return std::nullopt;
    const QString http = QStringLiteral("http");
    const bool staysHere =
        from.scheme() == http && to.scheme() == http && QHostAddress(to.host()).isLoopback();
    if (to.scheme() != QLatin1String("https") && !staysHere) return std::nullopt;
    return to;
}

std::optional<qint64> contentLength(const HttpResponse& head) {
    return numberOf(head.header("Content-Length"));
}

bool isPlain(const HttpResponse& head) {
    const QByteArray encoding = head.header("Content-Encoding").toLower();
    return encoding.isEmpty() || encoding == "identity";
}

QByteArray validator(const HttpResponse& head) {
    QByteArray tag = head.header("ETag");
    if (tag.size() >= 2 && tag.startsWith('"') && tag.endsWith('"')) return tag;
    const QDateTime modified = dateOf(head, "Last-Modified");
    const QDateTime answered = dateOf(head, "Date");
    const bool isStrong =
        modified.isValid() && answered.isValid() && modified.secsTo(answered) >= strongAfter;
    return isStrong ? head.header("Last-Modified") : QByteArray();
}

std::optional<qint64> continuedTotal(const HttpResponse& head, const Continuation& part) {
    static const QRegularExpression form(
        QStringLiteral("^bytes (\\d{1,18})-(\\d{1,18})/(\\d{1,18})$"),
        QRegularExpression::CaseInsensitiveOption);
    const auto range = form.match(QString::fromLatin1(head.header("Content-Range").trimmed()));
    if (!range.hasMatch() || !isPlain(head) || !isSameFile(head, part.validator))
        return std::nullopt;
    const qint64 first = range.captured(1).toLongLong();
    const qint64 last = range.captured(2).toLongLong();
    const qint64 total = range.captured(3).toLongLong();
    if (first != part.size || last < first || last != total - 1) return std::nullopt;
    if (part.total != 0 && total != part.total) return std::nullopt;
    if (contentLength(head).value_or(total - first) != total - first) return std::nullopt;
    return total;
}

std::optional<qint64> refusedTotal(const HttpResponse& head) {
    const QByteArray range = head.header("Content-Range").trimmed().toLower();
    return range.startsWith("bytes */") ? numberOf(range.mid(8)) : std::nullopt;
}

} // namespace murlo::DownloadAnswer
