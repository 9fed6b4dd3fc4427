#include "platform/linux/freedesktop/UserBackend.h"

#include "platform/linux/freedesktop/IndependentProcess.h"
#include "platform/linux/processes/ProcessFacts.h"
#include "support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>

#include <csignal>
#include <unistd.h>
#include <vector>

namespace murlo {

namespace {

constexpr double startLimit = 10;     // seconds until `start` reports
constexpr double stopLimit = 10;      // seconds until `stop` reports
constexpr double unitLimit = 3;       // seconds for the service manager, then the program is tried
constexpr double pollInterval = 0.02; // seconds
constexpr int callLimit = 2000;       // milliseconds
constexpr int configurationFault = 2; // exit status of the program

const QString endsWhenQuiet = QStringLiteral("idle-end=600"); // seconds
const QString unit = QStringLiteral("murlo-backend.socket");

QDBusPendingCall askManager(const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.systemd1"), QStringLiteral("/org/freedesktop/systemd1"),
        QStringLiteral("org.freedesktop.systemd1.Manager"), method);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    return QDBusConnection::sessionBus().asyncCall(call, callLimit);
}

} // namespace

struct UserBackend::Start {
    std::vector<std::function<void(Listener)>> done;
    double deadline = 0;     ///< on the scheduler's uptime
    double unitDeadline = 0; ///< until then the service manager may make somebody listen
    bool programStarted = false;
    QPointer<QProcess> program; ///< null when it could not be started, and after its end
    ScheduledWork poll;
};

/// A stop under way.
struct UserBackend::Stop {
    QString databaseFolder;
    std::vector<std::function<void(bool)>> done;
    int unanswered = 0;  ///< calls to the service manager
    double deadline = 0; ///< on the scheduler's uptime
    QList<qint64> told;  ///< the programs that were asked to end
    ScheduledWork poll;
};

UserBackend::UserBackend(Scheduler& scheduler, QStringList folders)
    : m_scheduler(scheduler)
    , m_folders(std::move(folders)) {}

UserBackend::~UserBackend() = default;

QStringList UserBackend::usualFolders(const QString& applicationFolder) {
    return {applicationFolder,
            QDir::cleanPath(applicationFolder + QStringLiteral("/../lib/murlo/bin"))};
}

LocalService::Listener UserBackend::listenerOf(const QList<ListeningSocket>& sockets,
                                               const QString& host) {
    const QHostAddress wanted(host);
    const auto among = [&](auto&& takes) {
        auto listener = Listener::nobody;
        for (const ListeningSocket& socket : sockets) {
            if (!takes(socket)) continue;
            if (socket.owner != geteuid()) return Listener::stranger;
            listener = Listener::self;
        }
        return listener;
    };
    // A socket of the very address goes before those of all addresses: so the kernel decides, too.
    const auto exact = among([&](const ListeningSocket& socket) {
        return socket.address.isEqual(wanted, QHostAddress::ConvertV4MappedToIPv4);
    });
    if (exact != Listener::nobody) return exact;
    return among([&](const ListeningSocket& socket) { return socket.accepts(wanted); });
}

LocalService::Listener UserBackend::listener(const LoopbackPort& at) const {
    return listenerOf(listeningSockets(at.port), at.host);
}

void UserBackend::start(const LoopbackPort& at, std::function<void(Listener)> done) {
    Start& start = m_starts[at];
    start.done.push_back(std::move(done));
    if (start.done.size() > 1) return; // under way
    start.deadline = m_scheduler.uptime() + startLimit;
    start.poll = m_scheduler.every(pollInterval, [this, at] { check(at); });
    if (listener(at) != Listener::nobody) return; // which the first look will report
    if (at == unitPort())
        askServiceManager(at);
    else
        startProgram(at);
}

void UserBackend::askServiceManager(const LoopbackPort& at) {
    m_starts[at].unitDeadline = m_scheduler.uptime() + unitLimit;
    const auto failed = [this, at] {
        const auto start = m_starts.find(at);
        if (start != m_starts.end()) start->second.unitDeadline = 0; // the next look goes on
    };
    // A unit that does not exist has no state.
    auto* state = new QDBusPendingCallWatcher(
        askManager(QStringLiteral("GetUnitFileState"), {unit}), &m_owner);
    QObject::connect(state, &QDBusPendingCallWatcher::finished, &m_owner, [=, this] {
        state->deleteLater();
        if (state->isError()) return failed();
        auto* started = new QDBusPendingCallWatcher(
            askManager(QStringLiteral("StartUnit"), {unit, QStringLiteral("replace")}), &m_owner);
        QObject::connect(started, &QDBusPendingCallWatcher::finished, &m_owner, [=] {
            started->deleteLater();
            if (started->isError()) failed();
        });
    });
}

void UserBackend::startProgram(const LoopbackPort& at) {
    Start& start = m_starts[at];
    start.programStarted = true;
    for (const QString& folder : m_folders) {
        const QString program = folder + QStringLiteral("/murlo-backend");
        if (!QFileInfo(program).isExecutable()) continue;
        start.program = makeIndependentProcess();
        start.program->setWorkingDirectory(QDir::rootPath());
        QObject::connect(start.program, &QProcess::finished, &m_owner, [](int status) {
            if (status == configurationFault)
                Log::write(QStringLiteral("backend: murlo-backend refuses its configuration; "
                                          "started in a terminal, it tells why"));
        });
        QStringList arguments{QStringLiteral("--set"), QStringLiteral("port=%1").arg(at.port),
                              QStringLiteral("--set"), endsWhenQuiet};
        if (at.host != unitPort().host)
            arguments << QStringLiteral("--set") << QStringLiteral("listen=") + at.host;
        start.program->start(program, arguments);
        return;
    }
    Log::write(QStringLiteral("backend: there is no program murlo-backend beside this one"));
}

void UserBackend::check(const LoopbackPort& at) {
    Start& start = m_starts[at];
    const double now = m_scheduler.uptime();
    if (listener(at) != Listener::nobody || now >= start.deadline) return finish(at);
    if (now < start.unitDeadline) return;
    if (!start.programStarted) startProgram(at);
    if (!start.program) finish(at);
}

void UserBackend::finish(const LoopbackPort& at) {
    const Listener now = listener(at);
    const auto start = m_starts.extract(at);
    for (const auto& done : start.mapped().done) done(now);
}

QList<qint64> UserBackend::programs() const {
    QList<qint64> found;
    for (const QString& folder : m_folders)
        for (const qint64 pid : ProcessFacts::running(folder + QStringLiteral("/murlo-backend"))) {
            const QStringList arguments = ProcessFacts::arguments(pid);
            const bool isOurs = arguments.value(2).startsWith(QLatin1String("port=")) &&
                                arguments.value(4) == endsWhenQuiet; // as `startProgram` writes it
            if (isOurs || ProcessFacts::hasOpenBelow(pid, m_stop->databaseFolder)) found << pid;
        }
    return found;
}

void UserBackend::stop(const QString& databaseFolder, std::function<void(bool)> done) {
    if (m_stop) {
        m_stop->done.push_back(std::move(done));
        return;
    }
    m_stop = std::make_unique<Stop>();
    m_stop->databaseFolder = databaseFolder;
    m_stop->done.push_back(std::move(done));
    m_stop->deadline = m_scheduler.uptime() + stopLimit;
    m_stop->poll = m_scheduler.every(pollInterval, [this] { checkEnd(); });
    // The socket first: it would start the service again.
    for (const QString& name : {unit, QStringLiteral("murlo-backend.service")}) {
        ++m_stop->unanswered;
        auto* call = new QDBusPendingCallWatcher(
            askManager(QStringLiteral("StopUnit"), {name, QStringLiteral("replace")}), &m_owner);
        QObject::connect(call, &QDBusPendingCallWatcher::finished, &m_owner, [this, call] {
            call->deleteLater();
            if (m_stop) --m_stop->unanswered;
        });
    }
}

void UserBackend::checkEnd() {
    const QList<qint64> running = programs();
    for (const qint64 pid : running) {
        if (m_stop->told.contains(pid)) continue;
        m_stop->told << pid;
        ::kill(static_cast<pid_t>(pid), SIGTERM);
    }
    const bool isOver = running.isEmpty() && m_stop->unanswered == 0;
    if (!isOver && m_scheduler.uptime() < m_stop->deadline) return;
    const auto stopped = std::exchange(m_stop, nullptr);
    for (const auto& done : stopped->done) done(running.isEmpty());
}

} // namespace murlo
