#pragma once

#include "MurloKit/Message.h"

namespace murlo {

/// Where a dictation stands.
struct DictationState {
    enum Case {
        idle,
        listening,    ///< the microphone is being started or is recording
        transcribing, ///< the clip is with the speech engine, or waiting for it
        enhancing,    ///< the transcript is being rewritten
        delivered,    ///< handed to the text box; shown briefly
        failed,       ///< shown for a few seconds
    };

    Case state = idle;
    QString text = {};    ///< that was delivered
    Message message = {}; ///< what the user is told of a failure

    friend bool operator==(const DictationState&, const DictationState&) = default;
};

} // namespace murlo
