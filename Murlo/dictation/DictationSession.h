#pragma once

#include "dictation/DictationController.h"
#include "dictation/engine/WhisperServer.h"

namespace murlo {

/// One dictation, from its trigger to its text. It may live on after the next one has become
/// current, until its clip is processed.
struct DictationController::Session {
    std::optional<InputTarget> target; ///< the box that is to receive the text
    bool picked = false;               ///< by its letter; else the one that had the focus
    std::shared_ptr<void> clipboard;   ///< handle that keeps the clipboard read
    bool discarded = false;            ///< the user does not want it any more
    bool inserting = false;            ///< its keys are being sent: too late to give it up
    QByteArray clip;                   ///< until its transcript is there
    QString text;                      ///< from its transcript until it is delivered
    bool isRewritten = false;          ///< the text is not as it was spoken
    double clipDuration = 0;           ///< seconds
    double finishedAt = 0;             ///< uptime at which the recording ended
    double waitsSince = 0;             ///< uptime from which it waits for the engine
    double sentAt = 0;                 ///< uptime at which the engine got the clip
    EngineRun engineRun;               ///< the process that has the clip
    bool resent = false;               ///< the process before that one ended with it
    double latency = 0;                ///< seconds from there to the transcript
    ScheduledWork enginePoll;
    ScheduledWork patience; ///< with an engine that has the clip on a GPU
    std::unique_ptr<HttpTask> transcription;
};

} // namespace murlo
