#pragma once

#include "dictation/DictationController.h"

namespace murlo {

/// One dictation, from its trigger to its text. It outlives its turn as the current one for as long
/// as its clip is still being worked on.
struct DictationController::Session {
    std::optional<InputTarget> target; ///< the box that is to receive the text
    bool picked = false;               ///< by its letter; else the one that had the focus
    std::shared_ptr<void> clipboard;   ///< kept read for as long as a text may come
    bool discarded = false;            ///< the user does not want it any more
    bool inserting = false;            ///< its keys are being sent: too late to give it up
    QByteArray clip;                   ///< until its transcript is there
    QString text;                      ///< from its transcript until it is delivered
    double clipDuration = 0;           ///< seconds
    double finishedAt = 0;             ///< uptime at which the recording ended
    double latency = 0;                ///< seconds from there to the transcript
    ScheduledWork enginePoll;
    std::unique_ptr<HttpTask> transcription;
};

} // namespace murlo
