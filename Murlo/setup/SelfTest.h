#pragma once

#include "dictation/engine/Transcriber.h"
#include "dictation/recording/AudioRecorder.h"
#include "setup/Alert.h"

#include <functional>
#include <memory>

namespace murlo {

class Permissions;
class Settings;
class WhisperServer;

/// Tries microphone, engine and permissions without any other program: records three seconds and
/// shows what the engine heard. Main thread; nothing blocks.
class SelfTest : NonCopyable {
public:
    static constexpr double recordingSeconds = 3;

    /// All must outlive it.
    struct Partners {
        Scheduler& scheduler;
        const Permissions& permissions;
        const Settings& settings; ///< the spoken language and the vocabulary
        const WhisperServer& server;
        HttpClient& http;
        /// A recorder of its own, so that the one for dictation is not touched.
        std::function<std::unique_ptr<AudioRecorder>()> makeRecorder;
        ShowAlert showAlert;
    };
    explicit SelfTest(Partners with)
        : m_with(std::move(with)) {}

    /// Asks the user to begin. Does nothing during a test.
    void run();

    /// What is granted, a line for each permission.
    [[nodiscard]] static QString permissionReport(const Permissions& permissions);
    /// What a transcript or the lack of one is told as. `seconds` is what the engine took, `bytes`
    /// the clip's size.
    [[nodiscard]] static Alert outcome(const TranscribeResult& result, double seconds,
                                       qsizetype bytes, const Permissions& permissions);

private:
    void start();
    void recorded();
    void end(const Alert& alert);
    void end(Word message, const Message& details);

    Partners m_with;
    bool m_isRunning = false;
    std::unique_ptr<AudioRecorder> m_recorder; ///< while it records
    std::unique_ptr<HttpTask> m_request;
    ScheduledWork m_recording; ///< until its end
    Lifetime m_lifetime;
};

} // namespace murlo
