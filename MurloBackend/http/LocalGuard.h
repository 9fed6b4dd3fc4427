#pragma once

#include "MurloBackend/http/Messages.h"
#include "MurloBackend/http/PeerUser.h"

#include <optional>

namespace murlo::backend {

/// Loopback is shared by every user of the computer and reached by every web page in a browser.
/// This keeps both out of a server that is one user's own.
class LocalGuard {
public:
    /// `user` is whose requests are answered; the server listens on `own`.
    LocalGuard(const Endpoint& own, uint user);

    /// The answer to a request that has no business here; nothing for one that has. Any thread.
    [[nodiscard]] std::optional<Reply> refusal(const Request& request,
                                               std::optional<uint> peerUser) const;

private:
    QList<QByteArray> m_hosts;   ///< values of Host that name this server
    QList<QByteArray> m_origins; ///< values of Origin that do
    uint m_user;
};

} // namespace murlo::backend
