#include "Log.h"

#include <cstdio>

namespace murlo::backend {

void say(Severity severity, const QString& sentence) {
    // The priorities of syslog, which the journal understands at the start of a line.
    static const bool journal = qEnvironmentVariableIsSet("JOURNAL_STREAM");
    const char* priority = severity == Severity::information ? "<6>"
                           : severity == Severity::warning   ? "<4>"
                                                             : "<3>";
    QByteArray line = sentence.toUtf8();
    line.replace('\n', ' ').replace('\r', ' ');
    std::fprintf(stderr, "%smurlo-backend: %s\n", journal ? priority : "", line.constData());
}

} // namespace murlo::backend
