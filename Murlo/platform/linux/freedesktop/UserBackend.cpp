#include "platform/linux/freedesktop/UserBackend.h"

#include "platform/linux/freedesktop/IndependentProcess.h"
#include "platform/linux/freedesktop/ListeningSockets.h"
#include "support/Log.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>

#include <algorithm>
#include <unistd.h>

namespace murlo {

namespace {

constexpr double startLimit = 10;     // seconds until `start` reports
constexpr double unitLimit = 3;       // seconds for the service manager, then the program is tried
constexpr double pollInterval = 0.02; // seconds
constexpr int callLimit = 2000;       // milliseconds

const QString unit = QStringLiteral("murlo-backend.socket");

QDBusPendingCall askManager(const QString& method, const QVariantList& arguments) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.systemd1"), QStringLiteral("/org/freedesktop/systemd1"),
        QStringLiteral("org.freedesktop.systemd1.Manager"), method);
    call.setArguments(arguments);
    call.setAutoStartService(false);
    return QDBusConnection::sessionBus().asyncCall(call, callLimit);
}

/// Whether an address of /proc/net/tcp or tcp6 (hexadecimal, in words of the machine's byte order,
/// which is x86's here) accepts connections from this computer: 127.0.0.0/8, ::1, or any.
bool acceptsLoopback(const QByteArray& address) {
    if (address.count('0') == address.size()) return true; // any
    if (address.size() == 8) return address.endsWith("7F");
    return address == "00000000000000000000000001000000" ||
           (address.startsWith("0000000000000000FFFF0000") && address.endsWith("7F"));
}

/// The owners of the sockets that listen on the port, from one kernel table. Columns: 1 local
/// address, 3 state, 7 user.
QList<uint> ownersOf(const QString& table, quint16 port) {
    QList<uint> owners;
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) return owners;
    const QByteArray wanted = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (!line.contains(wanted)) continue;
        const QList<QByteArray> columns = line.simplified().split(' ');
        if (columns.size() < 10 || columns[3] != "0A" || !columns[1].endsWith(wanted)) continue;
        if (acceptsLoopback(columns[1].chopped(wanted.size()))) owners << columns[7].toUInt();
    }
    return owners;
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

UserBackend::UserBackend(Scheduler& scheduler, QStringList folders, QString tables)
    : m_scheduler(scheduler)
    , m_folders(std::move(folders))
    , m_tables(std::move(tables)) {}

UserBackend::~UserBackend() = default;

QStringList UserBackend::usualFolders(const QString& applicationFolder) {
    return {applicationFolder,
            QDir::cleanPath(applicationFolder + QStringLiteral("/../lib/murlo/bin"))};
}

LocalService::Listener UserBackend::listener(quint16 port) const {
    // A stranger on any of the loopback addresses counts: a name may lead to either of them.
    const auto known = m_tables.isEmpty() ? ownersOfListeners(port) : std::nullopt;
    const QString tables = m_tables.isEmpty() ? QStringLiteral("/proc/net") : m_tables;
    const QList<uint> owners = known ? *known
                                     : ownersOf(tables + QStringLiteral("/tcp"), port) +
                                           ownersOf(tables + QStringLiteral("/tcp6"), port);
    if (owners.isEmpty()) return Listener::nobody;
    const bool allOurs =
        std::ranges::all_of(owners, [self = geteuid()](uint owner) { return owner == self; });
    return allOurs ? Listener::self : Listener::stranger;
}

void UserBackend::start(quint16 port, std::function<void(Listener)> done) {
    Start& start = m_starts[port];
    start.done.push_back(std::move(done));
    if (start.done.size() > 1) return; // under way
    start.deadline = m_scheduler.uptime() + startLimit;
    start.poll = m_scheduler.every(pollInterval, [this, port] { check(port); });
    if (listener(port) != Listener::nobody) return; // which the first look will report
    if (port == unitPort)
        askServiceManager(port);
    else
        startProgram(port);
}

void UserBackend::askServiceManager(quint16 port) {
    m_starts[port].unitDeadline = m_scheduler.uptime() + unitLimit;
    const auto failed = [this, port] {
        const auto start = m_starts.find(port);
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

void UserBackend::startProgram(quint16 port) {
    Start& start = m_starts[port];
    start.programStarted = true;
    for (const QString& folder : m_folders) {
        const QString program = folder + QStringLiteral("/murlo-backend");
        if (!QFileInfo(program).isExecutable()) continue;
        start.program = makeIndependentProcess();
        start.program->setWorkingDirectory(QDir::rootPath());
        start.program->start(program, {QStringLiteral("--set"), QStringLiteral("port=%1").arg(port),
                                       QStringLiteral("--set"), QStringLiteral("idle-end=600")});
        return;
    }
    Log::write(QStringLiteral("backend: there is no program murlo-backend beside this one"));
}

void UserBackend::check(quint16 port) {
    Start& start = m_starts[port];
    const double now = m_scheduler.uptime();
    if (listener(port) != Listener::nobody || now >= start.deadline) return finish(port);
    if (now < start.unitDeadline) return;
    if (!start.programStarted) startProgram(port);
    if (!start.program) finish(port);
}

void UserBackend::finish(quint16 port) {
    const Listener now = listener(port);
    const auto start = m_starts.extract(port);
    for (const auto& done : start.mapped().done) done(now);
}

} // namespace murlo
