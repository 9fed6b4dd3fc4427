#include "platform/linux/freedesktop/UserBackend.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeLocalService.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/LoopbackServer.h"

#include <QDir>
#include <QFile>
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
        QFile file(folder.filePath("murlo-backend"));
        if (!file.open(QIODevice::WriteOnly)) qFatal("cannot write a program");
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
        file.write(code);
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    }
    ~Program() {
        if (const int pid = asked().value(0).toInt()) ::kill(pid, SIGKILL);
    }
    /// Process, session, blocked signals, open files, arguments; empty before its start.
    [[nodiscard]] QStringList asked() const {
        QFile file(folder.filePath("asked"));
        if (!file.open(QIODevice::ReadOnly)) return {};
        return QString::fromUtf8(file.readAll().trimmed()).split('|');
    }
    QTemporaryDir folder;
};

/// The answer of a start, which comes on a later turn.
Listener waitForStart(LocalService& service, quint16 port, VirtualScheduler* time = nullptr) {
    std::optional<Listener> answer;
    service.start(port, [&](Listener now) { answer = now; });
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
        const quint16 port = freePort();
        QCOMPARE(service.listener(port), Listener::nobody);
        QCOMPARE(waitForStart(service, port, &time), Listener::self);
        QCOMPARE(service.listener(port), Listener::self);
        QCOMPARE(waitForStart(service, port, &time), Listener::self); // it is there already
    }

    void theProgramIsAskedForAPortAndOutlivesUs() {
        const Program program(true);
        QFile ours(program.folder.filePath("ours"));
        QVERIFY(ours.open(QIODevice::WriteOnly));
        QVERIFY(dup(ours.handle()) > 0); // without close-on-exec
        const quint16 port = freePort();
        {
            UserBackend backend(m_scheduler, {program.folder.path()});
            QCOMPARE(waitForStart(backend, port), Listener::self);
        }
        const QStringList asked = program.asked();
        QCOMPARE(asked.mid(4),
                 (QStringList{"--set", "port=" + QString::number(port), "--set", "idle-end=600"}));
        QVERIFY(asked[1].toInt() != getsid(0)); // neither our terminal's signals …
        QCOMPARE(asked[2], "set()");
        QCOMPARE(asked[3], "{'/dev/null'}"); // … nor our files
        QVERIFY(QFile::exists("/proc/" + asked[0]));
    }

    void whatCannotBeStartedIsReportedEarly() {
        const Program program(false); // it ends at once
        UserBackend ending(m_scheduler, {program.folder.path()});
        UserBackend missing(m_scheduler, {"/nowhere"});
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(waitForStart(ending, freePort()), Listener::nobody);
        QCOMPARE(waitForStart(missing, freePort()), Listener::nobody);
        // Without a service manager that knows the unit.
        QCOMPARE(waitForStart(missing, UserBackend::unitPort), Listener::nobody);
        QVERIFY2(clock.elapsed() < 8000, "as late as a program that hangs");
    }

    void whoListensIsReadFromTheKernel_data() {
        QTest::addColumn<QString>("address");
        QTest::addColumn<Listener>("listener");
        for (const char* address : {"127.0.0.1", "127.1.2.3", "0.0.0.0", "::1", "::"})
            QTest::newRow(address) << QString(address) << Listener::self;
    }
    void whoListensIsReadFromTheKernel() {
        QFETCH(QString, address);
        const UserBackend backend(m_scheduler, {});
        QTcpServer server;
        QVERIFY(server.listen(QHostAddress(address)));
        const quint16 port = server.serverPort();
        QTEST(backend.listener(port), "listener");
        QCOMPARE(backend.listener(port ^ 1), Listener::nobody);
        server.close();
        QCOMPARE(backend.listener(port), Listener::nobody);
    }

    void twoStartsAtOnceAreOne() {
        const Program program(true);
        UserBackend backend(m_scheduler, {program.folder.path()});
        const quint16 port = freePort();
        QList<Listener> answers;
        for (int count = 0; count < 2; ++count)
            backend.start(port, [&](Listener now) { answers << now; });
        QTRY_COMPARE_WITH_TIMEOUT(answers, (QList{Listener::self, Listener::self}), patience);
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::LocalServiceContractTest)
#include "LocalServiceContractTest.moc"
