#pragma once

#include <QDateTime>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <optional>

namespace murlo {

/// The process of the speech engine that a program has started; 0 when there is none.
[[nodiscard]] qint64 engineOf(qint64 program);

/// The real Murlo, run in a home folder of its own, observed through what it leaves there: its log
/// and its files. Main thread.
class MurloProcess {
public:
    /// `program` is the executable, `home` an existing folder that becomes its HOME.
    MurloProcess(QString program, QString home);
    /// Ends the program, with SIGKILL if it does not listen.
    ~MurloProcess() { quit(); }

    /// Puts what a set-up user has into the home: the model, and settings with an account. Values
    /// of `settings` come on top. Call it before `start`.
    [[nodiscard]] bool seed(const QString& model, const QJsonObject& settings = {});

    /// Sets a variable of the program's environment. Call it before `start`.
    void setEnvironment(const QString& name, const QString& value);

    /// Starts the program and returns at once; false when it could not be started.
    [[nodiscard]] bool start();
    /// Starts the program once more, as a menu does; false when that start did not end well.
    [[nodiscard]] bool openAgain() const;
    /// Waits until the trigger keys are live and the engine is ready; false when that did not come
    /// or the program has ended.
    [[nodiscard]] bool awaitReady(int milliseconds = 60000);
    /// Waits until the engine is ready, whether or not somebody is signed in.
    [[nodiscard]] bool awaitEngine(int milliseconds = 60000);
    /// SIGTERM, and waits for the end; the exit status, or nothing when it had to be killed.
    std::optional<int> quit(int milliseconds = 10000);

    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    [[nodiscard]] qint64 pid() const { return m_process.processId(); }
    [[nodiscard]] qint64 enginePid() const { return engineOf(pid()); }

    /// What the log says up to here is of no interest any more.
    void forgetLog();
    /// The lines since the start that tell of something amiss.
    [[nodiscard]] QStringList troubles() const;
    /// Waits for a line of the log that contains `words`, among those after the last `forgetLog`.
    [[nodiscard]] bool awaitLog(const QString& words, int milliseconds = 15000) const;
    /// When the first such line was written (the log's own stamp, in milliseconds of the day's
    /// local time); nothing when there is none.
    [[nodiscard]] std::optional<int> loggedAt(const QString& words) const;
    /// The same clock, now.
    [[nodiscard]] static int now() { return QTime::currentTime().msecsSinceStartOfDay(); }

    /// The texts of the saved history, newest first.
    [[nodiscard]] QStringList history() const;
    /// A file of the support folder.
    [[nodiscard]] QString file(const QString& name) const {
        return m_home + QStringLiteral("/.brisvane/") + name;
    }

private:
    [[nodiscard]] QStringList linesFrom(qint64 position) const;
    /// The first line with these words after the last `forgetLog`; empty when there is none.
    [[nodiscard]] QString lineWith(const QString& words) const {
        return linesFrom(m_logStart).filter(words).value(0);
    }

    QString m_program;
    QString m_home;
    QProcess m_process;
    qint64 m_started = 0;  ///< where its log begins
    qint64 m_logStart = 0; ///< where it is of interest
};

} // namespace murlo
