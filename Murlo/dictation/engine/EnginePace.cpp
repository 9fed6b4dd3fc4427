#include "dictation/engine/EnginePace.h"

#include "dictation/engine/EngineDevices.h"
#include "support/Log.h"

#include <cmath>

namespace murlo {

namespace {

constexpr double slowAnswer = 3;     // seconds for each window of the engine's
constexpr double window = 30;        // seconds of speech that the engine hears at a time
constexpr int slowAnswersToTell = 2; // of one model
constexpr double slowPreview = 4;    // seconds
constexpr double previewRest = 300;  // seconds without previews after a slow one

} // namespace

std::optional<Message> EnginePace::answered(const EngineRun& run, double clip, double seconds) {
    m_devices.answered(run.modelPath, run.device, clip, seconds);
    if (m_slowModel != run.modelPath) m_slowAnswers = 0;
    m_slowModel = run.modelPath;
    if (seconds <= slowAnswer * std::max(1.0, std::ceil(clip / window))) return std::nullopt;
    if (++m_slowAnswers != slowAnswersToTell) return std::nullopt;
    const auto faster = m_devices.offerFaster(run.modelPath);
    if (!faster) return std::nullopt;
    Log::write(QStringLiteral("engine: answers are slow, %1 would be faster").arg(faster->file));
    return Message(Word::answersTakeLong);
}

void EnginePace::previewTook(double seconds) {
    if (seconds <= slowPreview) return;
    m_restsUntil = m_scheduler.uptime() + previewRest;
    Log::write(QStringLiteral("engine: a live preview took %1s, they rest for a while")
                   .arg(seconds, 0, 'f', 1));
}

bool EnginePace::allowsPreview() const {
    return m_scheduler.uptime() >= m_restsUntil;
}

} // namespace murlo
