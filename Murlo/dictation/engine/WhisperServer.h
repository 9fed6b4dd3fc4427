#pragma once

#include "MurloKit/EngineState.h"
#include "dictation/engine/EngineOutput.h"
#include "platform/HttpClient.h"
#include "platform/Process.h"
#include "platform/Scheduler.h"

#include <QObject>
#include <QUrl>

#include <mutex>
#include <optional>

namespace murlo {

/// Supervises the speech engine, the child program `whisper-server` listening on 127.0.0.1: starts
/// it with the chosen model, probes it until it answers, restarts it after unexpected exits (2, 5
/// and 15 seconds later) and gives up on the fourth exit between two moments of readiness.
///
/// `ready` means that our own child, alive and alone on the port, answers; a stranger's server on
/// the port never makes it ready. Everything happens on a serial queue as a chain of short steps,
/// so that a restart, an exit or the end of the application is handled at once also while the model
/// loads. The waits are for a child that is told to end, which gets 2 seconds before it is killed,
/// and, at a launch, for the clean-up of the port (at most 7 seconds).
class WhisperServer : public QObject {
    Q_OBJECT

public:
    using State = EngineState;

    /// Where the program has its engine listen.
    static constexpr quint16 usualPort = 8756;

    /// Nothing is started. `modelPath` (the speech model's full path) and `language` (the spoken
    /// language as stored; "en" is used when empty) are read at every launch, on the queue's
    /// thread.
    WhisperServer(quint16 port, Scheduler& scheduler, ProcessLauncher& processes,
                  MakeHttpClient makeHttpClient, std::function<std::optional<QString>()> modelPath,
                  std::function<QString()> language);
    ~WhisperServer() override; ///< ends the engine; main thread

    /// Launches the engine unless one is running. Any thread; returns at once.
    void start();
    /// Ends a running engine and launches one, with all its restarts before it. Any thread; returns
    /// at once.
    void restart();
    /// Ends the engine; when it returns, the child has ended. At most about 2 seconds, or longer
    /// when a launch has just begun. Any thread.
    void shutdown();

    [[nodiscard]] State state() const; ///< any thread
    /// The transcription endpoint. Send speech there only while the state is `ready`.
    [[nodiscard]] QUrl inferenceURL() const { return url(QStringLiteral("/inference")); }

    /// The header that the engine demands with every request: each start of it gets another secret,
    /// in its environment. One that knows nothing of it takes no notice. Any thread.
    [[nodiscard]] HttpHeader credentials() const;

    /// The engine's program: the application's own copy in `resourceFolder`, else one of the usual
    /// places of separately installed ones; nothing when none of them is an executable file.
    [[nodiscard]] static std::optional<QString> locateBinary(const QString& resourceFolder);

Q_SIGNALS:
    /// The state has changed. Main thread.
    void stateChanged(const murlo::EngineState& state);

private:
    [[nodiscard]] QUrl url(const QString& path) const;
    // All below on the queue.
    void launch();
    [[nodiscard]] bool reapOrphan();
    void spawn(const QString& program, const QString& model);
    void probe();
    void answered(bool anything);
    void exited(int status);
    void terminate();
    void stopProbing();
    void fail(const Message& message) { setState({State::failed, message}); }
    void setState(State state);

    const quint16 m_port;
    Scheduler& m_scheduler;
    ProcessLauncher& m_processes;
    MakeHttpClient m_makeHttpClient;
    std::function<std::optional<QString>()> m_modelPath;
    std::function<QString()> m_language;

    mutable std::mutex m_stateLock; ///< of the next two
    State m_state;
    QByteArray m_secret;

    std::unique_ptr<SerialQueue> m_queue;
    // Of the queue's thread alone:
    std::unique_ptr<HttpClient> m_http;
    std::unique_ptr<HttpTask> m_probe;
    std::unique_ptr<ChildProcess> m_child;
    std::unique_ptr<EngineOutput> m_output;
    ScheduledWork m_step;     ///< the rest of a launch, or the next probe
    ScheduledWork m_deadline; ///< of readiness
    ScheduledWork m_respawn;
    int m_respawnAttempts = 0; ///< restarts since the engine was last ready

    Lifetime m_lifetime;
};

} // namespace murlo
