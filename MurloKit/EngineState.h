#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// The state of the speech engine as its supervisor reports it.
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
