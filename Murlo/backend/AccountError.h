#pragma once

#include "platform/HttpClient.h"

#include <QString>

namespace murlo {

/// Why an operation of the backend did not succeed. Its description carries nothing that a server
/// wrote.
struct AccountError {
    enum Kind {
        server,       ///< an HTTP status other than 200 and 401
        network,      ///< no answer, or no key to be had from the keyring just now
        unauthorized, ///< the key was refused (401), or none is stored
        undecodable   ///< status 200 with a body that is not the operation's
    };

    Kind kind = network;
    int status = 0;    ///< of `server`; 0 when the reply was not HTTP
    QString sentKey;   ///< of `unauthorized`: the key that was refused; empty if nothing was sent
    QString transport; ///< of `network`: the transport's words, for the log

    /// "server error 503", "network unavailable", "not authorized", "unexpected reply".
    [[nodiscard]] QString description() const;
};

} // namespace murlo
