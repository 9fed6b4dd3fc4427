#pragma once

#include "MurloKit/Message.h"
#include "dictation/engine/WhisperServer.h"

namespace murlo {

class EngineDevices;

/// Watches that no wait for the engine grows unseen: keeps how long answers took, lets previews
/// rest that would only heat the machine, and suggests a faster model. Main thread.
class EnginePace {
public:
    EnginePace(EngineDevices& devices, Scheduler& scheduler)
        : m_devices(devices)
        , m_scheduler(scheduler) {}

    /// The engine's process took `seconds` to answer a clip of `clip` seconds. The result is what
    /// the user is to be told, if anything: once for a model, when it was slow a second time and
    /// there is a faster one.
    [[nodiscard]] std::optional<Message> answered(const EngineRun& run, double clip,
                                                  double seconds);
    /// A live preview took that long.
    void previewTook(double seconds);
    /// Whether live previews are worth their work now.
    [[nodiscard]] bool allowsPreview() const;

private:
    EngineDevices& m_devices;
    Scheduler& m_scheduler;
    QString m_slowModel; ///< path of the model whose slow answers are counted
    int m_slowAnswers = 0;
    double m_restsUntil = 0; ///< uptime until which there are no previews
};

} // namespace murlo
