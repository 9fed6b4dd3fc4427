#include "platform/linux/processes/QtProcessLauncher.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeProcessLauncher.h"
#include "tests/harness/ValidatingServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTest>
#include <QThread>

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

/// Listens on an address and port as told, and says so in one line.
int listenAs(const QString& address, quint16 port, bool shared) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    if (shared) ::setsockopt(socket, SOL_SOCKET, SO_REUSEPORT, &yes, sizeof yes);
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_port = htons(port);
    where.sin_addr.s_addr = htonl(QHostAddress(address).toIPv4Address());
    if (::bind(socket, reinterpret_cast<sockaddr*>(&where), sizeof where) != 0) return -1;
    return ::listen(socket, 4) == 0 ? socket : -1;
}

/// A launcher whose children wait for the test to end them.
class World : public ContractWorld {
public:
    virtual ProcessLauncher& launcher() = 0;
    virtual void endChild(int status) = 0; ///< the one started last, by itself
    virtual void makeItWrite(const QByteArray& line) = 0;
    virtual void breakProgram() = 0; ///< what is launched cannot be started any more
    [[nodiscard]] tl::expected<std::unique_ptr<ChildProcess>, QString>
    launch(ChildHandlers handlers) {
        return launcher().launch(program, arguments, {}, std::move(handlers));
    }

protected:
    QString program = shell;
    QStringList arguments;
};

class RealWorld : public World {
public:
    RealWorld() {
        // Does the commands of a file as they come.
        arguments = {"-c",
                     "while :; do if [ -e \"$0\" ]; then . \"$0\"; rm \"$0\"; fi; sleep 0.02; done",
                     m_folder.filePath("commands")};
    }
    ProcessLauncher& launcher() override { return m_launcher; }
    void endChild(int status) override { command("exit " + QByteArray::number(status)); }
    void makeItWrite(const QByteArray& line) override { command("echo " + line); }
    void breakProgram() override { program = "/nowhere/program"; }

private:
    void command(const QByteArray& text) {
        QFile file(m_folder.filePath("new"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
        file.close();
        QVERIFY(file.rename(m_folder.filePath("commands")));
    }
    QTemporaryDir m_folder;
    QtProcessLauncher m_launcher{m_folder.path()};
};

class FakeWorld : public World {
public:
    ProcessLauncher& launcher() override { return m_launcher; }
    void endChild(int status) override { m_launcher.exit(status); }
    void makeItWrite(const QByteArray& line) override { m_launcher.print(line + '\n'); }
    void breakProgram() override { m_launcher.launchError = "No such file or directory"; }

private:
    FakeProcessLauncher m_launcher;
};

std::unique_ptr<World> makeWorld() {
    return makeWorldOfRow<World, FakeWorld, RealWorld>();
}

/// This very program in another role; see `main`.
std::unique_ptr<ChildProcess> launchSelf(QtProcessLauncher& launcher, const QStringList& arguments,
                                         QByteArray& output) {
    auto child = launcher.launch(
        QCoreApplication::applicationFilePath(), arguments, {},
        {.output = [&output](const QByteArray& piece) { output += piece; }, .exited = {}});
    return child ? std::move(*child) : nullptr;
}

} // namespace

class ProcessLauncherContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tellsOutputAndEndOfAChild_data() { addWorlds(); }
    void tellsOutputAndEndOfAChild() {
        const auto world = makeWorld();
        QByteArray output;
        QList<int> exits;
        const auto child =
            world->launch({.output = [&](const QByteArray& piece) { output += piece; },
                           .exited = [&](int status) { exits << status; }});
        QVERIFY2(child, "could not be started");
        QVERIFY((*child)->pid() > 0);
        QVERIFY((*child)->isRunning());
        world->makeItWrite("words");
        QTRY_COMPARE_WITH_TIMEOUT(output, QByteArray("words\n"), patience);
        world->endChild(7);
        QTRY_COMPARE_WITH_TIMEOUT(exits, QList<int>{7}, patience);
        QVERIFY(!(*child)->isRunning());
        QVERIFY((*child)->waitForExit(0));
    }

    void aDestroyedHandleEndsItsChildAndTellsNobody_data() { addWorlds(); }
    void aDestroyedHandleEndsItsChildAndTellsNobody() {
        QFETCH(bool, real);
        const auto world = makeWorld();
        bool told = false;
        auto child = world->launch({.output = {}, .exited = [&](int) { told = true; }});
        QVERIFY(child.has_value());
        const qint64 pid = (*child)->pid();
        child->reset();
        QVERIFY(!real || !isAlive(pid));
        QTest::qWait(50);
        QVERIFY(!told);
    }

    void aHandlerMayDestroyTheHandle_data() {
        QTest::addColumn<bool>("real");
        QTest::addColumn<bool>("onOutput");
        QTest::newRow("fake, at its end") << false << false;
        QTest::newRow("real, at its end") << true << false;
        QTest::newRow("real, at its output") << true << true;
    }
    void aHandlerMayDestroyTheHandle() {
        QFETCH(bool, real);
        QFETCH(bool, onOutput);
        const auto world = makeWorld();
        std::unique_ptr<ChildProcess> child;
        bool told = false;
        const auto destroy = [&] {
            told = true;
            child.reset();
        };
        auto launched = world->launch(
            {.output = [&](const QByteArray&) { destroy(); }, .exited = [&](int) { destroy(); }});
        QVERIFY(launched.has_value());
        child = std::move(*launched);
        const qint64 pid = child->pid();
        onOutput ? world->makeItWrite("words") : world->endChild(0);
        QTRY_VERIFY_WITH_TIMEOUT(told, patience);
        QVERIFY(!child);
        QVERIFY(!real || !isAlive(pid));
        QTest::qWait(50);
    }

    void whatCannotBeStartedSaysWhy_data() { addWorlds(); }
    void whatCannotBeStartedSaysWhy() {
        const auto world = makeWorld();
        world->breakProgram();
        bool told = false;
        const auto child = world->launch({.output = {}, .exited = [&](int) { told = true; }});
        QVERIFY(!child);
        QVERIFY2(child.error().contains("No such file or directory"), qPrintable(child.error()));
        QTest::qWait(50);
        QVERIFY(!told);
    }

    // What only real programs show.

    void anEndBySignalTellsTheSignal() {
        QtProcessLauncher launcher({});
        int status = -1;
        const auto child =
            launcher.launch("/bin/sleep", {"1000"}, {},
                            {.output = {}, .exited = [&](int ended) { status = ended; }});
        QVERIFY(child.has_value());
        (*child)->kill();
        QTRY_COMPARE_WITH_TIMEOUT(status, SIGKILL, patience);
    }

    void bothOutputsComeInOrderAndToTheirEnd() {
        QtProcessLauncher launcher({});
        QByteArray output;
        bool ended = false;
        const auto child = launcher.launch(
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

    void aChildThatIgnoresSigtermIsKilledAfterTwoSeconds() {
        QtProcessLauncher launcher({});
        QByteArray output;
        auto child = launcher.launch(
            shell, {"-c", "trap '' TERM; echo up; while :; do sleep 1; done"}, {},
            {.output = [&](const QByteArray& piece) { output += piece; }, .exited = {}});
        QVERIFY(child.has_value());
        QTRY_COMPARE_WITH_TIMEOUT(output, QByteArray("up\n"), patience);
        const qint64 pid = (*child)->pid();
        QElapsedTimer timer;
        timer.start();
        child->reset();
        QVERIFY(!isAlive(pid));
        QVERIFY2(timer.elapsed() >= 1990, "it had its 2 seconds");
    }

    void signalsThatThisThreadBlocksReachTheChild() {
        sigset_t blocked;
        sigset_t before;
        sigemptyset(&blocked);
        sigaddset(&blocked, SIGTERM);
        pthread_sigmask(SIG_BLOCK, &blocked, &before);
        QtProcessLauncher launcher({});
        auto child = launcher.launch("/bin/sleep", {"1000"}, {}, {});
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        QVERIFY(child.has_value());
        (*child)->terminate();
        QVERIFY((*child)->waitForExit(20));
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
        QtProcessLauncher launcher({});
        QCOMPARE(launcher.run(shell, {"-c", "echo noise; exit 3"}, 10), 3);
        QCOMPARE(launcher.run("/bin/true", {}, 10), 0);
        QCOMPARE(launcher.run("/nowhere/program", {}, 10), std::nullopt);
        QCOMPARE(launcher.run("/bin/sleep", {"1000"}, 0.1), std::nullopt);
        QCOMPARE(launcher.run(shell, {"-c", "kill -9 $$"}, 10), std::nullopt);
    }

    void tellsWhoListensOnAPort() {
        QtProcessLauncher launcher({});
        const quint16 port = freePort();
        QVERIFY(!launcher.ownsListeningPort(getpid(), port));
        const int socket = listenAs("127.0.0.1", port, false);
        QVERIFY(socket >= 0);
        QVERIFY(launcher.ownsListeningPort(getpid(), port));
        QVERIFY(!launcher.ownsListeningPort(getpid(), port + 1));
        QVERIFY(!launcher.ownsListeningPort(getppid(), port));
        ::close(socket);
        QVERIFY(!launcher.ownsListeningPort(getpid(), port));
    }

    void aPortIsOwnedAloneOrNotAtAll_data() {
        QTest::addColumn<QString>("ours");
        QTest::addColumn<QString>("theirs");
        QTest::addColumn<bool>("owned");
        const QString loopback = "127.0.0.1";
        const QString any = "0.0.0.0";
        QTest::newRow("shared address") << loopback << loopback << false;
        QTest::newRow("ours is nearer") << loopback << any << true;
        QTest::newRow("theirs is nearer") << any << loopback << false;
        QTest::newRow("shared by all addresses") << any << any << false;
        QTest::newRow("another address") << loopback << QString("127.0.0.2") << true;
    }
    void aPortIsOwnedAloneOrNotAtAll() {
        QFETCH(QString, ours);
        QFETCH(QString, theirs);
        QFETCH(bool, owned);
        QtProcessLauncher launcher({});
        const quint16 port = freePort();
        QByteArray output;
        const auto child = launchSelf(launcher, {"--listen", ours, QString::number(port)}, output);
        QTRY_COMPARE_WITH_TIMEOUT(output, QByteArray("listening\n"), patience);
        QVERIFY(launcher.ownsListeningPort(child->pid(), port));
        const int stranger = listenAs(theirs, port, true);
        QVERIFY(stranger >= 0);
        QCOMPARE(launcher.ownsListeningPort(child->pid(), port), owned);
        ::close(stranger);
        QVERIFY(launcher.ownsListeningPort(child->pid(), port));
    }

    void resourcesOfAnInstallationAreBesideItsPrograms() {
        QCOMPARE(QtProcessLauncher::installedResources("/usr/bin"),
                 QStringLiteral("/usr/lib/murlo"));
        QCOMPARE(QtProcessLauncher(QStringLiteral("/x")).resourceFolder(), QStringLiteral("/x"));
    }
};

} // namespace murlo

// Besides the tests, roles that they start as other programs.
int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "--listen") {
        if (murlo::listenAs(arguments.value(2), arguments.value(3).toUShort(), true) < 0) return 1;
        std::puts("listening");
        std::fflush(stdout);
        return QCoreApplication::exec();
    }
    if (arguments.value(1) == "--hold-a-child") {
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
