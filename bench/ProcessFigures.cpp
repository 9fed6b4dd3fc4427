#include "Figures.h"
#include "tests/harness/desktop/MurloProcess.h"
#include "tests/harness/desktop/PhysicalKeyboard.h"
#include "tests/harness/desktop/Waiting.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <ctime>

namespace murlo {

namespace {

constexpr int starts = 7;
constexpr int idleMilliseconds = 60000;
constexpr int desktopFiles = 400; ///< as many programs as a well-filled desktop has

QByteArray read(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// The number behind "Name:" in a status file of the process table.
double statusValue(const QString& path, const char* name) {
    for (const QByteArray& line : read(path).split('\n')) {
        if (line.startsWith(name))
            return line.mid(qstrlen(name)).simplified().split(' ').first().toDouble();
    }
    return 0;
}

double residentMegabytes(qint64 pid) {
    return statusValue(QStringLiteral("/proc/%1/status").arg(pid), "VmRSS:") / 1024;
}

/// Seconds of processor time of a process so far, all its threads together, those that have ended
/// included: as its own clock counts them, in nanoseconds.
double processorSeconds(qint64 pid) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(static_cast<pid_t>(pid), &clock) != 0 ||
        clock_gettime(clock, &time) != 0)
        return 0;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// How often each of its threads has gone to sleep, each of which is a wake-up before it.
QMap<QString, double> wakeUps(qint64 pid) {
    QMap<QString, double> counts;
    const QString tasks = QStringLiteral("/proc/%1/task").arg(pid);
    for (const QString& task : QDir(tasks).entryList(QDir::Dirs | QDir::NoDotAndDotDot))
        counts.insert(task, statusValue(tasks + QLatin1Char('/') + task + QStringLiteral("/status"),
                                        "voluntary_ctxt_switches:"));
    return counts;
}

/// Wake-ups since then, of the threads that are still there.
double wakeUpsSince(const QMap<QString, double>& before, qint64 pid) {
    double sum = 0;
    const QMap<QString, double> now = wakeUps(pid);
    for (auto thread = now.begin(); thread != now.end(); ++thread)
        sum += *thread - before.value(thread.key());
    return sum;
}

/// Seconds from the start of a program to the words on its standard error; leaves it running.
double startUntil(QProcess& process, const QString& program, const QStringList& arguments,
                  const QByteArray& words) {
    process.setProcessChannelMode(QProcess::MergedChannels);
    const double start = seconds();
    process.start(program, arguments);
    QByteArray heard;
    while (!heard.contains(words)) {
        if (!process.waitForReadyRead(10000)) return 0;
        heard += process.readAll();
    }
    return seconds() - start;
}

void end(QProcess& process) {
    process.terminate();
    if (!process.waitForFinished(5000)) process.kill();
    process.waitForFinished();
}

/// From the key on the X server to the log's word that audio flows, in the first dictation of a new
/// process among many programs.
QList<double> millisecondsToMicrophone(MurloProcess& murlo, const QString& home) {
    const QString folder = home + QStringLiteral("/.local/share/applications");
    QDir().mkpath(folder);
    for (int i = 0; i < desktopFiles; ++i) {
        QFile entry(QStringLiteral("%1/program-%2.desktop").arg(folder).arg(i));
        if (entry.open(QIODevice::WriteOnly))
            entry.write("[Desktop Entry]\nType=Application\nName=Program " + QByteArray::number(i) +
                        "\nExec=program-" + QByteArray::number(i) + " %U\n");
    }
    PhysicalKeyboard keyboard;
    QList<double> took;
    for (int i = 0; i < starts; ++i) {
        if (!murlo.start() || !murlo.awaitReady()) return {};
        keyboard.press("LFSH");
        letPass(60);
        keyboard.release("LFSH");
        letPass(80);
        const int pressed = MurloProcess::now();
        keyboard.press("LFSH");
        if (murlo.awaitLog(QStringLiteral("audio: recording at")))
            took.append(*murlo.loggedAt(QStringLiteral("audio: recording at")) - pressed);
        letPass(300);
        keyboard.release("LFSH");
        letPass(200);
        murlo.quit();
    }
    return took;
}

} // namespace

QList<Figure> processFigures(const QString& model) {
    progress(QStringLiteral("starting"));
    QTemporaryDir home;
    MurloProcess murlo(QStringLiteral(MURLO_PROGRAM), home.path());
    if (!murlo.seed(model)) return {};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("HOME"), home.path());
    QList<double> ours;
    QList<double> bare;
    double bareMegabytes = 0;
    for (int i = 0; i < starts; ++i) {
        QProcess process;
        process.setProcessEnvironment(environment);
        ours.append(startUntil(process, QStringLiteral(MURLO_PROGRAM), {}, "hotkey: dictate="));
        end(process);
        bare.append(startUntil(process, QCoreApplication::applicationFilePath(),
                               {QStringLiteral("--bare")}, "bare: live"));
        bareMegabytes = residentMegabytes(process.processId());
        end(process);
    }
    const QList<double> toMicrophone = millisecondsToMicrophone(murlo, home.path());
    progress(QStringLiteral("a minute of idling"));
    if (!murlo.start() || !murlo.awaitReady()) return {};
    letPass(3000);
    const qint64 pid = murlo.pid();
    const double cpu = processorSeconds(pid);
    const QMap<QString, double> wakes = wakeUps(pid);
    letPass(idleMilliseconds);
    const double span = idleMilliseconds / 1000.0;
    return {
        {QStringLiteral("start to triggers live"), median(ours) * 1000, QStringLiteral("ms"),
         median(bare) * 1000, QStringLiteral("a bare Qt Widgets program to its first turn")},
        {QStringLiteral("idle processor time"), (processorSeconds(pid) - cpu) / span * 100,
         QStringLiteral("% of a core"), 0.1, QStringLiteral("the aim")},
        {QStringLiteral("idle wake-ups"), wakeUpsSince(wakes, pid) / span,
         QStringLiteral("per second"), 1, QStringLiteral("one a second")},
        {QStringLiteral(
             "second tap to a microphone that is told to start, fresh process, 400 desktop files"),
         median(toMicrophone), QStringLiteral("ms"), 30, QStringLiteral("the aim")},
        {QStringLiteral("resident memory"), residentMegabytes(pid), QStringLiteral("MB"),
         bareMegabytes, QStringLiteral("a bare Qt Widgets program")}};
}

} // namespace murlo
