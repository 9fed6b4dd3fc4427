#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// Why a server could not be talked to.
enum class NetworkFailure {
    other,
    offline, ///< this computer has no network
    timedOut,
    noHost,  ///< its name leads nowhere
    refused, ///< nobody takes the connection
    cutOff   ///< the connection ended before the answer did
};

/// One sentence for the user about what went wrong on the network. Pure functions.
class FriendlyError {
public:
    [[nodiscard]] static Message message(NetworkFailure failure);
    /// For an HTTP status other than success that a download was answered with.
    [[nodiscard]] static Message downloadRefused(int status);
};

} // namespace murlo
