#pragma once

#include "platform/Process.h"
#include "platform/Scheduler.h"

#include <QObject>

namespace murlo {

class DictationController;
class EngineDevices;
class WhisperServer;

/// Finds out in the background what runs the engine fastest. After the start it asks the measuring
/// program beside the engine which devices there are; when they, their drivers or the engine are
/// others than those that were measured, it has them measured while nobody dictates. When the
/// engine runs on another device than is best and nobody has dictated for a while, it is started
/// anew. Main thread.
class EngineTuner : public QObject {
    Q_OBJECT

public:
    /// All must outlive it.
    struct Partners {
        Scheduler& scheduler;
        ProcessLauncher& processes;
        WhisperServer& server;
        EngineDevices& devices;
        DictationController& controller;
    };

    explicit EngineTuner(const Partners& partners);

    /// Call it once, at the start of the application. Returns at once.
    void begin();

private:
    void run(const QStringList& arguments, double limit,
             std::function<void(const QByteArray&)> done);
    void ended();
    void listed(const QByteArray& output);
    void measureWhenQuiet();
    void measured(const QByteArray& output);
    [[nodiscard]] bool isQuiet() const;
    /// The engine is started anew, after a while without dictations, if another device is better.
    void settle();

    Partners m_with;
    QString m_machine; ///< what is there to be measured
    int m_measurements = 0;
    double m_bestShare = 0;
    std::unique_ptr<ChildProcess> m_child;
    std::function<void(const QByteArray&)> m_done;
    QByteArray m_output;
    ScheduledWork m_step;
    ScheduledWork m_limit;
    ScheduledWork m_settle;
};

} // namespace murlo
