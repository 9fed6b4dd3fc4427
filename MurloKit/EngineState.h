#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// What the speech engine's supervisor has to say of it.
struct EngineState {
    enum Case {
        stopped, ///< no engine process is wanted
        loading, ///< being started, or restarted after an exit; has not answered yet
        ready,   ///< answers requests
        failed,  ///< cannot be used; the message says why and what to do
    };

    Case state = stopped;
    Message message = {}; ///< only with `failed`

    friend bool operator==(const EngineState&, const EngineState&) = default;
};

} // namespace murlo
