#pragma once

#include <QString>

namespace murlo {

/// The one way in which failures are reported to the maker. Reports are not sent anywhere yet: each
/// leaves a line in the log.
class ErrorReporter {
public:
    /// `kind` names the failure; `detail` carries neither dictated text nor server output. Any
    /// thread.
    void report(const QString& kind, const QString& detail);
};

} // namespace murlo
