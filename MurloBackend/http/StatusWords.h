#pragma once

#include <QByteArray>

#include <string>

namespace murlo::backend {

/// The reason phrase of a status line.
[[nodiscard]] std::string phraseOf(int status);

/// Why a request that exceeds a limit or is none gets this status, for its client.
[[nodiscard]] QByteArray reasonOf(int status);

} // namespace murlo::backend
