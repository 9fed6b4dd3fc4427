#include "OpenFiles.h"

#include "MurloBackend/support/Log.h"

#include <algorithm>
#include <sys/resource.h>
#include <utility>

namespace murlo::backend {

int affordableConnections(int wanted, int others) {
    rlimit files{};
    if (::getrlimit(RLIMIT_NOFILE, &files) != 0) return wanted;
    const auto needed = static_cast<rlim_t>(wanted) + static_cast<rlim_t>(others);
    if (files.rlim_cur >= needed) return wanted;
    const rlim_t before = std::exchange(files.rlim_cur, std::min(needed, files.rlim_max));
    if (::setrlimit(RLIMIT_NOFILE, &files) != 0) files.rlim_cur = before;
    if (files.rlim_cur >= needed) return wanted;
    const int affordable = std::max(1, static_cast<int>(files.rlim_cur) - others);
    say(Severity::warning,
        QStringLiteral("%1 open files are allowed: of %2 connections, %3 are taken at a time")
            .arg(files.rlim_cur)
            .arg(wanted)
            .arg(affordable));
    return affordable;
}

} // namespace murlo::backend
