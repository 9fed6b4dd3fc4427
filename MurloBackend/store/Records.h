#pragma once

#include <QString>

#include <optional>

namespace murlo::backend {

/// A dictation that was delivered, as its client describes it.
struct UsageEvent {
    QString id; ///< upper-case UUID
    QString type;
    QString clientTs; ///< whole seconds, UTC
    double durationS = 0;
    qint64 wordCount = 0;
    std::optional<QString> targetApp;
    QString appVersion;
};

/// A failure that a client reports.
struct ErrorReport {
    QString id; ///< upper-case UUID
    QString kind;
    QString message;
    QString clientTs;
    QString appVersion;
};

/// An installation has reached a stage.
struct FunnelPing {
    QString installId; ///< upper-case UUID
    QString stage;     ///< "launched" or "onboarded"
    QString clientTs;
    std::optional<QString> appVersion;
};

} // namespace murlo::backend
