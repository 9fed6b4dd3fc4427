#include "telemetry/ErrorReporter.h"

#include "support/Log.h"

namespace murlo {

void ErrorReporter::report(const QString& kind, const QString& detail) {
    Log::write(QStringLiteral("errors: %1: %2").arg(kind, detail));
}

} // namespace murlo
