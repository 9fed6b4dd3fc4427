#include "platform/linux/processes/QtProcessLauncher.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/Rows.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <cstdio>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace murlo {

namespace {

constexpr int patience = 20'000; ///< milliseconds
const QString shell = QStringLiteral("/bin/sh");

bool isAlive(qint64 pid) {
    return ::kill(static_cast<pid_t>(pid), 0) == 0;
}

/// A socket that listens on an address and port, and shares them; children inherit it.
int listenAs(const QString& address, quint16 port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof yes);
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(port);
    where.sin_addr.s_addr = htonl(QHostAddress(address).toIPv4Address());
    if (::bind(socket, reinterpret_cast<sockaddr*>(&where), sizeof where) != 0) return -1;
    return ::listen(socket, 4) == 0 ? socket : -1;
}

} // namespace

class ProcessLauncherContractTest : public QObject {
    Q_OBJECT

    QtProcessLauncher m_launcher{QString()};

private Q_SLOTS:
    void tellsOutputAndEndWhileTheHandleLives_data() {
        const Rows<bool, QString, QStringList> row; // "gone": when the handle is destroyed
        for (const bool real : {false, true}) {
            const QByteArray where = real ? "real" : "fake";
            row(where + ", gone never", real, "never", {"words", "7"});
            row(where + ", gone at its end", real, "at its end", {"words", "7"});
            row(where + ", gone at its output", real, "at its output", {"words"});
            row(where + ", gone at once", real, "at once", {});
        }
    }
    void tellsOutputAndEndWhileTheHandleLives() {
        const auto [real, ending, told] = fetch<bool, QString, QStringList>();
        const QString& gone = ending;
        FakeProcessLauncher fake;
        ProcessLauncher& launcher = real ? static_cast<ProcessLauncher&>(m_launcher) : fake;
        std::unique_ptr<ChildProcess> child;
        QStringList heard;
        const auto hear = [&](const QString& what, const char* moment) {
            heard << what;
            if (gone == moment) child.reset();
        };
        const bool endsItself = told.contains("7");
        auto launched = launcher.launch(
            shell, {"-c", endsItself ? "echo words; exit 7" : "echo words; exec sleep 1000"}, {},
            {.output = [&](const QByteArray& piece) { hear(piece.trimmed(), "at its output"); },
             .exited = [&](int status) { hear(QString::number(status), "at its end"); }});
        QVERIFY2(launched, "could not be started");
        child = std::move(*launched);
        const qint64 pid = child->pid();
        QVERIFY(pid > 0 && child->isRunning());
        if (gone == "at once") child.reset();
        if (!real) {
            fake.print("words\n");
            fake.exit(7);
        }
        QTRY_COMPARE_WITH_TIMEOUT(heard, told, patience);
        QCOMPARE(child != nullptr, gone == "never");
        QVERIFY(!child || !child->isRunning());
        QVERIFY(!real || !isAlive(pid));
        QTest::qWait(50);
        QCOMPARE(heard, told);
    }

    // What only real programs show.

    void whatCannotBeStartedSaysWhy() {
        bool told = false;
        const auto child = m_launcher.launch("/nowhere/program", {}, {},
                                             {.output = {}, .exited = [&](int) { told = true; }});
        QVERIFY(!child);
        QVERIFY2(child.error().contains("No such file or directory"), qPrintable(child.error()));
        QTest::qWait(50);
        QVERIFY(!told);
    }

    void bothOutputsComeInOrderAndToTheirEnd() {
        QByteArray output;
        bool ended = false;
        const auto child = m_launcher.launch(
            shell,
            {"-c",
             "echo 1; echo 2 >&2; echo 3; head -c 3000000 /dev/zero; printf 4 >&2; printf $ADDED"},
            {{"ADDED", "5"}},
            {.output = [&](const QByteArray& piece) { output += piece; },
             .exited = [&](int) { ended = true; }});
        QTRY_VERIFY_WITH_TIMEOUT(ended, patience);
        QVERIFY(output.startsWith("1\n2\n3\n"));
        QCOMPARE(output.size(), 3'000'008);
        QVERIFY(output.endsWith("45"));
    }

    void aSignalThatThisThreadBlocksReachesTheChildAndIsItsEnd() {
        sigset_t blocked;
        sigset_t before;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        int status = -1;
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
        const auto child = m_launcher.launch(
            "/bin/sleep", {"1000"}, {}, {.output = {}, .exited = [&](int end) { status = end; }});
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        QVERIFY(child.has_value());
        (*child)->terminate();
        QTRY_COMPARE_WITH_TIMEOUT(status, SIGTERM, patience);
    }

    void aChildIsAskedToEndAndKilledWhenItDoesNot() {
        const QTemporaryDir folder;
        const QString asked = folder.filePath("asked");
        QByteArray output;
        auto child = m_launcher.launch(
            shell,
            {"-c", R"(trap 'sleep 0.5; : >"$0"' TERM; echo up; while :; do sleep 0.1; done)",
             asked},
            {}, {.output = [&](const QByteArray& piece) { output += piece; }, .exited = {}});
        QVERIFY(child.has_value());
        QTRY_COMPARE_WITH_TIMEOUT(output, QByteArray("up\n"), patience);
        const qint64 pid = (*child)->pid();
        child->reset();
        QVERIFY2(QFile::exists(asked), "it had no time to end by itself");
        QVERIFY(!isAlive(pid));
    }

    void aChildDoesNotOutliveAKilledParent() {
        QProcess parent;
        parent.start(QCoreApplication::applicationFilePath(), {"--hold-a-child"});
        QTRY_VERIFY_WITH_TIMEOUT(parent.canReadLine(), patience);
        const qint64 pid = parent.readLine().trimmed().toLongLong();
        QVERIFY(isAlive(pid));
        parent.kill();
        QVERIFY(parent.waitForFinished(patience));
        // Whoever adopts it may be slow to bury it.
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
                return !stat.open(QIODevice::ReadOnly) || stat.readAll().contains(") Z ");
            }(),
            patience);
    }

    void runsAProgramToItsEnd() {
        QCOMPARE(m_launcher.run(shell, {"-c", "echo noise; exit 3"}, 10), 3);
        QCOMPARE(m_launcher.run("/bin/true", {}, 10), 0);
        QCOMPARE(m_launcher.run("/nowhere/program", {}, 10), std::nullopt);
        QCOMPARE(m_launcher.run("/bin/sleep", {"1000"}, 0.1), std::nullopt);
        QCOMPARE(m_launcher.run(shell, {"-c", "kill -9 $$"}, 10), std::nullopt);
    }

    void aPortIsOwnedAloneOrNotAtAll_data() {
        const Rows<QString, QString, bool> row; // ours, theirs and whether ours is owned
        const QString loopback = "127.0.0.1";
        const QString any = "0.0.0.0";
        row("shared address", loopback, loopback, false);
        row("ours is nearer", loopback, any, true);
        row("theirs is nearer", any, loopback, false);
        row("shared by all addresses", any, any, false);
        row("another address", loopback, "127.0.0.2", true);
    }
    void aPortIsOwnedAloneOrNotAtAll() {
        const auto [ours, theirs, owned] = fetch<QString, QString, bool>();
        const quint16 port = freePort();
        const int inherited = listenAs(ours, port);
        QVERIFY(inherited >= 0);
        QProcess owner;
        owner.start("/bin/sleep", {"1000"});
        QVERIFY(owner.waitForStarted());
        ::close(inherited);
        const auto owns = [&](qint64 pid, int onPort) {
            return m_launcher.ownsListeningPort(pid, static_cast<quint16>(onPort));
        };
        QVERIFY(owns(owner.processId(), port));
        QVERIFY(!owns(owner.processId(), port + 1));
        QVERIFY(!owns(getpid(), port));
        const int stranger = listenAs(theirs, port);
        QVERIFY(stranger >= 0);
        QCOMPARE(owns(owner.processId(), port), owned);
        ::close(stranger);
        QVERIFY(owns(owner.processId(), port));
        owner.kill();
        QVERIFY(owner.waitForFinished());
        QVERIFY(!owns(owner.processId(), port));
    }

    void resourcesOfAnInstallationAreBesideItsPrograms() {
        QCOMPARE(QtProcessLauncher::installedResources("/usr/bin"), "/usr/lib/murlo");
    }
};

} // namespace murlo

// Besides the tests, a role that one of them starts as another program.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().value(1) == "--hold-a-child") {
        murlo::QtProcessLauncher launcher({});
        const auto child = launcher.launch("/bin/sleep", {"1000"}, {}, {});
        std::printf("%lld\n", child ? static_cast<long long>((*child)->pid()) : 0LL);
        std::fflush(stdout);
        return QCoreApplication::exec();
    }
    murlo::ProcessLauncherContractTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ProcessLauncherContractTest.moc"
