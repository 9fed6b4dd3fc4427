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
/// `ready` means that our own child runs, is the only listener on the port, and answers; a foreign
/// server on the port never counts. Everything happens on a serial queue as a chain of short steps,
/// so that a restart, an exit or the end of the application is handled at once also while the model
/// loads. The queue blocks only while a child terminates (killed after 2 seconds) and, at a launch,
/// while the port is cleaned up (at most 7 seconds).
class WhisperServer : public QObject {
    Q_OBJECT

public:
    using State = EngineState;

    /// The default TCP port of the engine.
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
    /// Ends a running engine and launches a new one, with the count of restarts reset. Any thread;
    /// returns at once.
    void restart();
    /// Ends the engine and blocks until the child has ended: at most about 2 seconds, or longer
    /// when a launch has just begun. Any thread.
    void shutdown();

    [[nodiscard]] State state() const; ///< any thread
    /// Tells one process of the engine from those before it. Any thread.
    [[nodiscard]] qint64 run() const;
    /// The transcription endpoint. Send speech there only while the state is `ready`.
    [[nodiscard]] QUrl inferenceURL() const { return url(QStringLiteral("/inference")); }

    /// The header that the engine demands with every request: each launch passes a new secret in
    /// the environment. An engine without this feature ignores it. Any thread.
    [[nodiscard]] HttpHeader credentials() const;

    /// The engine's program: the application's own copy in `resourceFolder`, else one of the usual
    /// places of separately installed ones; nothing when none of them is an executable file.
    [[nodiscard]] static std::optional<QString> locateBinary(const QString& resourceFolder);

Q_SIGNALS:
    /// The state has changed. Main thread.
    void stateChanged(const murlo::EngineState& state);

private:
    [[nodiscard]] QUrl url(const QString& path) const;
    // The following run on the queue.
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

    mutable std::mutex m_stateLock; ///< guards the next three
    State m_state;
    qint64 m_run = 0; ///< processes so far
    QByteArray m_secret;

    std::unique_ptr<SerialQueue> m_queue;
    // Used on the queue's thread only:
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
