#pragma once

#include "MurloKit/EngineSpeed.h"
#include "MurloKit/EngineState.h"
#include "dictation/engine/EngineOutput.h"
#include "dictation/engine/Transcriber.h"
#include "platform/HttpClient.h"
#include "platform/Process.h"
#include "platform/Scheduler.h"

#include <QObject>
#include <QUrl>

#include <mutex>
#include <optional>

namespace murlo {

/// What the engine is started with. Asked at every launch, on the queue's thread.
struct EngineChoices {
    /// The speech model's full path; nothing when there is none.
    std::function<std::optional<QString>()> modelPath;
    /// The spoken language as stored; "en" is used when empty.
    std::function<QString()> language;
    /// What to run this model on.
    std::function<EngineDevice(const QString& modelPath)> device;
    /// The engine crashed or hung on this GPU; `device` is asked again then.
    std::function<void(const EngineDevice&)> deviceFailed;
};

/// One process of the engine.
struct EngineRun {
    qint64 number = 0; ///< tells it from those before it; 0 before the first
    EngineDevice device;
    QString modelPath;
};

/// Supervises the speech engine, the child program `whisper-server` listening on 127.0.0.1: starts
/// it with the chosen model, probes it until it answers, restarts it after unexpected exits (2, 5
/// and 15 seconds later) and gives up on the fourth exit between two moments of readiness.
///
/// `ready` means that our own child runs, is the only listener on the port, and answers; a foreign
/// server on the port never counts. On a GPU it has also answered a second of silence, for which
/// drivers compile programs, so that the first sentence is as fast as those after it. An engine
/// that ends or hangs on a GPU is followed at once by one on the next best device. Everything
/// happens on a serial queue as a chain of short steps, so that a restart, an exit or the end of
/// the application is handled at once also while the model loads. The queue blocks only while a
/// child terminates (killed after 2 seconds) and, at a launch, while the port is cleaned up (at
/// most 7 seconds).
class WhisperServer : public QObject {
    Q_OBJECT

public:
    using State = EngineState;

    /// The default TCP port of the engine.
    static constexpr quint16 usualPort = 8756;

    /// Nothing is started. Another port is taken while somebody else, such as another user of this
    /// machine, listens on `port`.
    WhisperServer(quint16 port, Scheduler& scheduler, ProcessLauncher& processes,
                  MakeHttpClient makeHttpClient, EngineChoices choices);
    ~WhisperServer() override; ///< ends the engine; main thread

    /// Launches the engine unless one is running. Any thread; returns at once.
    void start();
    /// Ends a running engine and launches a new one, with the count of restarts reset. Any thread;
    /// returns at once.
    void restart();
    /// Ends the engine and blocks until the child has ended: at most about 2 seconds, or longer
    /// when a launch has just begun. Any thread.
    void shutdown();

    /// A clip waits for the engine: if it is still being prepared on a GPU five seconds after its
    /// start, one on the processor takes its place. Any thread; returns at once.
    void hurry();
    /// The engine's process of this number does not answer. If it runs on a GPU, it is ended as one
    /// that failed there. Any thread; returns at once.
    void giveUp(qint64 run);

    [[nodiscard]] State state() const;   ///< any thread
    [[nodiscard]] EngineRun run() const; ///< the process started last; any thread
    /// The transcription endpoint. Send speech there only while the state is `ready`. Any thread.
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
    [[nodiscard]] QStringList arguments(const EngineRun& run, quint16 port) const;
    void probe();
    void answered(bool anything);
    void warmUp();
    void becomeReady();
    void startTookTooLong();
    void exited(int status);
    void deviceFailed(const QString& how);
    void replace();
    void terminate();
    void stopProbing();
    void fail(const Message& message) { setState({State::failed, message}); }
    void setState(State state);

    const quint16 m_usualPort;
    Scheduler& m_scheduler;
    ProcessLauncher& m_processes;
    MakeHttpClient m_makeHttpClient;
    EngineChoices m_choices;

    mutable std::mutex m_stateLock; ///< guards the next four
    State m_state;
    EngineRun m_run;
    quint16 m_port; ///< of the process started last
    QByteArray m_secret;

    std::unique_ptr<SerialQueue> m_queue;
    // Used on the queue's thread only:
    std::unique_ptr<HttpClient> m_http;
    std::unique_ptr<HttpTask> m_probe; ///< or the silence that warms it up
    std::unique_ptr<ChildProcess> m_child;
    std::unique_ptr<EngineOutput> m_output;
    ScheduledWork m_step;     ///< the rest of a launch, or the next probe
    ScheduledWork m_deadline; ///< of readiness
    ScheduledWork m_respawn;
    ScheduledWork m_hurry;        ///< the end of patience with a GPU
    double m_spawnedAt = 0;       ///< uptime
    bool m_processorNext = false; ///< the next launch takes the processor, whatever is best
    int m_respawnAttempts = 0;    ///< restarts since the engine was last ready

    Lifetime m_lifetime;
};

} // namespace murlo
