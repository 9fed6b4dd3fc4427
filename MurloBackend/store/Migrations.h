#pragma once

#include "MurloBackend/store/Connection.h"

namespace murlo::backend {

/// Brings the database's tables to the form that this program needs, in one transaction that waits
/// for another instance doing the same. Nothing if that worked, else what did not. A database that
/// a newer version has changed is refused and left alone.
[[nodiscard]] QString migrate(Connection& connection);

} // namespace murlo::backend
