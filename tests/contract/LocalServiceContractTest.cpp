#include "platform/linux/freedesktop/UserBackend.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeLocalService.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/Rows.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <unistd.h>

namespace murlo {

namespace {

using Listener = LocalService::Listener;
constexpr int patience = 20'000; ///< milliseconds

/// A folder with a program murlo-backend in it: what it is asked for, it writes to the file
/// "asked"; then it listens, or ends at once.
struct Program {
    explicit Program(bool listens) {
        const QByteArray code =
            "#!/usr/bin/python3 -I\n"
            "import os, signal, socket, sys\n"
            "here = os.path.dirname(sys.argv[0])\n"
            "paths = ['/proc/self/fd/%d' % n for n in range(256)]\n"
            "files = {os.readlink(p) for p in paths if os.path.lexists(p)} - {sys.argv[0]}\n"
            "with open(here + '/asked.new', 'w') as f:\n"
            "    print(os.getpid(), os.getsid(0), signal.pthread_sigmask(0, ()), set(files), "
            "*sys.argv[1:], sep='|', file=f)\n"
            "os.rename(here + '/asked.new', here + '/asked')\n" +
            QByteArray(listens ? "s = socket.create_server(('127.0.0.1', int(sys.argv[2][5:])))\n"
                                 "signal.pause()\n"
                               : "");
        putFile(folder.filePath("murlo-backend"), code, QFile::ExeOwner);
    }
    ~Program() {
        if (const int pid = asked().value(0).toInt()) ::kill(pid, SIGKILL);
    }
    /// Process, session, blocked signals, open files, arguments; empty before its start.
    [[nodiscard]] QStringList asked() const {
        const QByteArray words = contentOf(folder.filePath("asked")).trimmed();
        return QString::fromUtf8(words).split('|', Qt::SkipEmptyParts);
    }
    QTemporaryDir folder;
};

/// A service manager on the session bus, which may know the backend's socket unit.
class ServiceManager : public QDBusVirtualObject {
public:
    explicit ServiceManager(bool knowsUnit)
        : m_knowsUnit(knowsUnit) {
        m_bus.registerVirtualObject("/org/freedesktop/systemd1", this);
        m_bus.registerService("org.freedesktop.systemd1");
    }
    ~ServiceManager() override { QDBusConnection::disconnectFromBus("manager"); }
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
        QStringList words{call.member()};
        for (const QVariant& argument : call.arguments()) words << argument.toString();
        asked << words.join(' ');
        if (!m_knowsUnit) return bus.send(call.createErrorReply("org.example.NoSuchUnit", ""));
        if (call.member() == "StartUnit")
            m_socket.listen(QHostAddress::LocalHost, UserBackend::unitPort().port);
        return bus.send(call.createReply(QVariantList{"enabled"}));
    }
    QStringList asked;

private:
    bool m_knowsUnit;
    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, "manager");
    QTcpServer m_socket;
};

LoopbackPort freePlace() {
    return {"127.0.0.1", freePort()};
}

/// The answer of a start, which comes on a later turn.
Listener waitForStart(LocalService& service, const LoopbackPort& at,
                      VirtualScheduler* time = nullptr) {
    std::optional<Listener> answer;
    service.start(at, [&](Listener now) { answer = now; });
    if (answer) qFatal("not on a later turn");
    (void)QTest::qWaitFor(
        [&] {
            if (time) time->advance(0.05);
            return answer.has_value();
        },
        patience);
    return answer.value_or(Listener::stranger);
}

} // namespace

class LocalServiceContractTest : public QObject {
    Q_OBJECT

    QtScheduler m_scheduler;

private Q_SLOTS:
    void aStartMakesSomebodyListen_data() { addWorlds(); }
    void aStartMakesSomebodyListen() {
        QFETCH(bool, real);
        const Program program(true);
        VirtualScheduler time;
        FakeLocalService fake(time);
        UserBackend backend(m_scheduler, {"/nowhere", program.folder.path()});
        LocalService& service = real ? static_cast<LocalService&>(backend) : fake;
        const LoopbackPort at = freePlace();
        QCOMPARE(service.listener(at), Listener::nobody);
        QCOMPARE(waitForStart(service, at, &time), Listener::self);
        QCOMPARE(service.listener(at), Listener::self);
        QCOMPARE(waitForStart(service, at, &time), Listener::self); // it is there already
    }

    void theProgramIsAskedForAPortAndOutlivesUs() {
        const Program program(true);
        QFile ours(program.folder.filePath("ours"));
        QVERIFY(ours.open(QIODevice::WriteOnly));
        QVERIFY(dup(ours.handle()) > 0); // without close-on-exec
        const LoopbackPort at = freePlace();
        {
            UserBackend backend(m_scheduler, {program.folder.path()});
            QList<Listener> answers;
            for (int count = 0; count < 2; ++count) // two starts at once are one
                backend.start(at, [&](Listener now) { answers << now; });
            QTRY_COMPARE_WITH_TIMEOUT(answers, (QList{Listener::self, Listener::self}), patience);
        }
        const QStringList asked = program.asked();
        QCOMPARE(asked.mid(4), (QStringList{"--set", "port=" + QString::number(at.port), "--set",
                                            "idle-end=600"}));
        QVERIFY(asked[1].toInt() != getsid(0)); // neither our terminal's signals …
        QCOMPARE(asked[2], "set()");
        QCOMPARE(asked[3], "{'/dev/null'}"); // … nor our files
        QVERIFY(QFile::exists("/proc/" + asked[0]));
    }

    void theServiceManagerIsAskedFirst() {
        for (const bool knowsUnit : {true, false}) {
            const Program program(true);
            ServiceManager manager(knowsUnit);
            UserBackend backend(m_scheduler, {program.folder.path()});
            QCOMPARE(waitForStart(backend, freePlace()), Listener::self); // not the unit's port
            QVERIFY(manager.asked.isEmpty() && !program.asked().isEmpty());
            const Program another(true);
            UserBackend unit(m_scheduler, {another.folder.path()});
            QCOMPARE(waitForStart(unit, UserBackend::unitPort()), Listener::self);
            QCOMPARE(another.asked().isEmpty(), knowsUnit);
            QStringList asked{"GetUnitFileState murlo-backend.socket"};
            if (knowsUnit) asked << "StartUnit murlo-backend.socket replace";
            QCOMPARE(manager.asked, asked);
        }
    }

    void whatCannotBeStartedIsReportedEarly() {
        const Program program(false); // it ends at once
        UserBackend ending(m_scheduler, {program.folder.path()});
        UserBackend missing(m_scheduler, {"/nowhere"});
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(waitForStart(ending, freePlace()), Listener::nobody);
        QCOMPARE(waitForStart(missing, freePlace()), Listener::nobody);
        // Without a service manager that knows the unit.
        QCOMPARE(waitForStart(missing, UserBackend::unitPort()), Listener::nobody);
        QVERIFY2(clock.elapsed() < 8000, "as late as a program that hangs");
    }

    void whoListensIsReadFromTheKernel_data() {
        const Rows<QString, Listener> row; // asked for, by the address that is listened on
        for (const char* address : {"127.0.0.1", "127.1.2.3", "::1"})
            row(address, address, Listener::self);
        row("0.0.0.0", "127.0.0.1", Listener::self);
        row("::", "127.0.0.1", Listener::self);
        row("127.0.0.2", "127.0.0.1", Listener::nobody); // it is not in the way
    }
    void whoListensIsReadFromTheKernel() {
        const auto [asked, listener] = fetch<QString, Listener>();
        const UserBackend backend(m_scheduler, {});
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress(QString(QTest::currentDataTag()))));
        const quint16 port = server.serverPort();
        QCOMPARE(backend.listener({asked, port}), listener);
        QCOMPARE(backend.listener({asked, static_cast<quint16>(port ^ 1)}), Listener::nobody);
        server.close();
        QCOMPARE(backend.listener({asked, port}), Listener::nobody);
    }

    void anotherUsersSocketIsAStrangers_data() {
        // In the tables of IPv4 and IPv6: address, state and, added to ours, the user.
        const Rows<QString, QString, Listener> row;
        const QString ours = "0100007F:2235 0A 0";
        const QString theirs = "0100007F:2235 0A 1";
        const QString v6 = "00000000000000000000000001000000:2235 0A 1";
        const QString v6any = "00000000000000000000000000000000:2235 0A 1";
        row("ours", ours, "", Listener::self);
        row("theirs", theirs, "", Listener::stranger);
        row("theirs of all addresses beside ours", ours, v6any, Listener::self);
        row("theirs on another of ours", ours, v6, Listener::self);
        row("any", "00000000:2235 0A 1", "", Listener::stranger);
        row("mapped", "", "0000000000000000FFFF00000100007F:2235 0A 1", Listener::stranger);
        row("another port", "0100007F:2236 0A 1", "", Listener::nobody);
        row("a connection", "0100007F:2235 01 1", "", Listener::nobody);
        row("another address", "0100000A:2235 0A 1", "", Listener::nobody);
    }
    void anotherUsersSocketIsAStrangers() {
        const auto [tcp, tcp6, listener] = fetch<QString, QString, Listener>();
        const QTemporaryDir tables;
        for (const auto& [name, text] : {std::pair("tcp", tcp), std::pair("tcp6", tcp6)}) {
            QFile file(tables.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            const QStringList row = text.split(' ');
            if (row.size() < 3) continue;
            file.write(QString("  sl  local_address rem_address   st tx_queue rx_queue\n"
                               "   0: %1 00000000:0000 %2 0:0 00:0 0 %3 0 77 1 0 100\n")
                           .arg(row[0], row[1])
                           .arg(geteuid() + row[2].toUInt())
                           .toLatin1());
        }
        const auto sockets = listeningSocketsInTables(tables.path(), 8757);
        QCOMPARE(UserBackend::listenerOf(sockets, "127.0.0.1"), listener);
    }

    void aStopEndsWhatRuns() {
        for (const bool knowsUnit : {false, true}) { // a program alone, and a unit besides
            ServiceManager manager(knowsUnit);
            const QTemporaryDir folder;
            const QString file = folder.filePath("murlo-backend");
            QVERIFY(QFile::copy("/bin/sleep", file));
            const QString database = folder.filePath("database/murlo.db");
            putFile(database, "");
            putFile(folder.filePath("team.db"), "");
            const auto start = [](const QString& program, const QString& open) {
                auto process = std::make_unique<QProcess>();
                process->setStandardInputFile(open);
                process->start(program, {"1000"});
                return process->waitForStarted() ? std::move(process) : nullptr;
            };
            const auto program = start(file, database);
            const auto another = start("/bin/sleep", database);
            const auto team = start(file, folder.filePath("team.db"));
            QVERIFY(program && another && team);
            QVERIFY(QFile::remove(file)); // as a package's removal leaves it
            UserBackend backend(m_scheduler, {folder.path()});
            std::optional<bool> stopped;
            backend.stop(folder.filePath("database"), [&](bool worked) { stopped = worked; });
            QTRY_VERIFY_WITH_TIMEOUT(stopped, patience);
            QVERIFY(*stopped);
            QCOMPARE(program->state(), QProcess::NotRunning);
            for (const auto& other : {another.get(), team.get()}) {
                QCOMPARE(other->state(), QProcess::Running);
                other->kill();
                QVERIFY(other->waitForFinished());
            }
            QCOMPARE(manager.asked, (QStringList{"StopUnit murlo-backend.socket replace",
                                                 "StopUnit murlo-backend.service replace"}));
        }
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::LocalServiceContractTest)
#include "LocalServiceContractTest.moc"
