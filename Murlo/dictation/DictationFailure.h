#pragma once

#include <QString>

namespace murlo {

/// Why a dictation failed: a sentence for the user, and what a report to the maker may say of it,
/// which is never a transcript or a server's words.
struct DictationFailure {
    QString message;
    QString report;
};

/// The report of an error that has a domain and a code.
[[nodiscard]] inline QString failureReport(const QString& domain, int code) {
    return domain + QLatin1Char(' ') + QString::number(code);
}

} // namespace murlo
