#pragma once

namespace murlo::backend {

/// As many of these connections as the process may have open beside `others`, its further files;
/// it raises its own limit of open files as far as it is allowed to. At a limit that is reached
/// while a connection is accepted the library would accept none any more.
[[nodiscard]] int affordableConnections(int wanted, int others);

} // namespace murlo::backend
