#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// Why a dictation failed: what the user is told, and what a report to the maker may say of it,
/// which is never a transcript or a server's words.
struct DictationFailure {
    Message message;
    QString report;
};

/// The report of an error that has a domain and a code.
[[nodiscard]] inline QString failureReport(const QString& domain, int code) {
    return domain + QLatin1Char(' ') + QString::number(code);
}

} // namespace murlo
