#include "platform/linux/processes/QtProcessLauncher.h"

#include "platform/linux/processes/ComputingCores.h"
#include "platform/linux/processes/ProcessFacts.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTcpServer>

#include <csignal>
#include <set>
#include <sys/prctl.h>
#include <unistd.h>

namespace murlo {

namespace {

constexpr double secondsToListen = 2.0; ///< between SIGTERM and SIGKILL

int toMilliseconds(double seconds) {
    return static_cast<int>(std::ceil(seconds * 1000));
}

/// Runs in the child between fork and exec: async-signal-safe calls only.
void prepareChild(pid_t parent) {
    // The kernel sends this when the thread that forked ends, not only the process.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(1); // the parent ended before the line above
    setpgid(0, 0);                     // Ctrl+C in a terminal is the application's to handle
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none,
                nullptr); // signals that this program blocks must reach the child
}

void configure(QProcess& process, const QString& program, const QStringList& arguments) {
    process.setProgram(program);
    process.setArguments(arguments);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setChildProcessModifier([parent = getpid()] { prepareChild(parent); });
}

class QtChildProcess : public ChildProcess {
public:
    QtChildProcess(const QString& program, const QStringList& arguments,
                   const Environment& environment)
        : m_process(new QProcess) {
        configure(*m_process, program, arguments);
        QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
        for (auto variable = environment.begin(); variable != environment.end(); ++variable)
            variables.insert(variable.key(), variable.value());
        m_process->setProcessEnvironment(variables);
        m_process->setProcessChannelMode(QProcess::MergedChannels);
    }
    ~QtChildProcess() override {
        m_process->disconnect();
        if (QtChildProcess::isRunning()) {
            m_process->terminate();
            if (!m_process->waitForFinished(toMilliseconds(secondsToListen))) {
                m_process->kill();
                m_process->waitForFinished(toMilliseconds(secondsToListen));
            }
        }
        m_process->deleteLater(); // one of its signals may be under way
    }

    /// The error is the reason why the program could not be started.
    tl::expected<void, QString> start(ChildHandlers handlers) {
        m_process->start(QIODevice::ReadOnly);
        if (!m_process->waitForStarted(-1)) return tl::unexpected(m_process->errorString());
        m_pid = m_process->processId();
        auto shared = std::make_shared<ChildHandlers>(std::move(handlers));
        const auto passOutput = [process = m_process, shared] {
            const QByteArray piece = process->readAll();
            const auto output = shared->output;
            if (!piece.isEmpty() && output) output(piece);
        };
        QObject::connect(m_process, &QProcess::readyRead, m_process, passOutput);
        QObject::connect(m_process, &QProcess::finished, m_process,
                         [shared](int status) { // its last output has been read before
                             const auto exited = shared->exited;
                             if (exited) exited(status);
                         });
        return {};
    }

    [[nodiscard]] qint64 pid() const override { return m_pid; }
    [[nodiscard]] bool isRunning() const override {
        return m_process->state() != QProcess::NotRunning;
    }
    void terminate() override { m_process->terminate(); }
    void kill() override { m_process->kill(); }
    bool waitForExit(double seconds) override {
        return !isRunning() || m_process->waitForFinished(toMilliseconds(seconds));
    }

private:
    QProcess* m_process;
    qint64 m_pid = 0;
};

/// Sockets (by their numbers in the kernel) that listen on a port and would accept a connection to
/// 127.0.0.1: those bound to that address take precedence over those bound to any address.
struct Listeners {
    std::set<QByteArray> exact;
    std::set<QByteArray> any;

    [[nodiscard]] const std::set<QByteArray>& served() const { return exact.empty() ? any : exact; }
};

/// Adds the sockets of one table in /proc/net. Columns: 1 local address, 3 state, 9 socket number.
void collectListeners(const QString& table, quint16 port, Listeners& listeners) {
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) return;
    const QByteArray wanted = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
    const auto lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        const auto columns = line.simplified().split(' ');
        if (columns.size() < 10 || columns[3] != "0A" || !columns[1].endsWith(wanted)) continue;
        const QByteArray address = columns[1].chopped(wanted.size());
        if (address == "0100007F" || address == "0000000000000000FFFF00000100007F") {
            listeners.exact.insert(columns[9]);
        } else if (address.count('0') == address.size()) {
            listeners.any.insert(columns[9]);
        }
    }
}

} // namespace

tl::expected<std::unique_ptr<ChildProcess>, QString>
QtProcessLauncher::launch(const QString& program, const QStringList& arguments,
                          const Environment& environment, ChildHandlers handlers) {
    auto child = std::make_unique<QtChildProcess>(program, arguments, environment);
    if (const auto started = child->start(std::move(handlers)); !started) {
        return tl::unexpected(started.error());
    }
    return child;
}

std::optional<int> QtProcessLauncher::run(const QString& program, const QStringList& arguments,
                                          double seconds) {
    QProcess process;
    configure(process, program, arguments);
    process.setStandardOutputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.start(QIODevice::NotOpen);
    if (!process.waitForFinished(toMilliseconds(seconds))) {
        process.kill();
        process.waitForFinished(toMilliseconds(secondsToListen));
        return std::nullopt;
    }
    if (process.exitStatus() != QProcess::NormalExit) return std::nullopt;
    return process.exitCode();
}

bool QtProcessLauncher::ownsListeningPort(qint64 pid, quint16 port) const {
    Listeners listeners;
    collectListeners(QStringLiteral("/proc/net/tcp"), port, listeners);
    collectListeners(QStringLiteral("/proc/net/tcp6"), port, listeners);
    return listeners.served().size() == 1 &&
           ProcessFacts::holdsSocket(pid, *listeners.served().begin());
}

std::optional<quint16> QtProcessLauncher::freePort(quint16 wanted) const {
    for (const quint16 port : {wanted, quint16{0}}) {
        QTcpServer server;
        if (server.listen(QHostAddress::LocalHost, port)) return server.serverPort();
    }
    return std::nullopt;
}

int QtProcessLauncher::computingCores() const {
    return murlo::computingCores();
}

QString QtProcessLauncher::installedResources(const QString& executableFolder) {
    return QDir::cleanPath(executableFolder + QStringLiteral("/../lib/murlo"));
}

} // namespace murlo
