#pragma once

#include "MurloBackend/http/Messages.h"

namespace murlo::backend {

/// An answer that says why there is no better one: {"error": "…"}. The reason is text of this
/// program; it repeats nothing of the request.
[[nodiscard]] inline Reply problem(int status, const QByteArray& reason) {
    Reply reply;
    reply.status = status;
    reply.body = "{\"error\":\"" + reason + "\"}";
    return reply;
}

} // namespace murlo::backend
