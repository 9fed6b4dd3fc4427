#include "platform/linux/secrets/KeychainSecretStore.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeSecretStore.h"
#include "tests/fakes/VirtualScheduler.h"
#include "tests/harness/Files.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

namespace murlo {

namespace {

constexpr int patience = 15'000; ///< milliseconds
const QString secrets = QStringLiteral("org.freedesktop.secrets");

/// A bus of the test's own, on which no service is started by itself, and a keyring on it with a
/// home of its own. The process's connections to "the session bus" lead here.
class PrivateKeyring {
public:
    PrivateKeyring() {
        const QString file = m_folder.filePath("bus.conf");
        putFile(file,
                "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
                "<policy context='default'><allow send_destination='*'/><allow receive_sender='*'/>"
                "<allow own='*'/></policy></busconfig>");
        m_bus.start("dbus-daemon", {"--config-file=" + file, "--print-address", "--nofork"});
        if (!m_bus.waitForReadyRead(patience)) qFatal("no bus");
        qputenv("DBUS_SESSION_BUS_ADDRESS", m_bus.readLine().trimmed());
    }
    ~PrivateKeyring() {
        stop();
        m_bus.kill();
        m_bus.waitForFinished();
    }

    [[nodiscard]] bool runs() const { return m_daemon.state() != QProcess::NotRunning; }
    /// Starts the keyring, unlocked, with what it had before.
    void start() {
        if (runs()) return;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"})
            environment.insert(name, m_folder.path());
        m_daemon.setProcessEnvironment(environment);
        m_daemon.start("gnome-keyring-daemon",
                       {"--unlock", "--foreground", "--components=secrets"});
        m_daemon.write("password\n");
        m_daemon.closeWriteChannel();
        const auto there = [] {
            return QDBusConnection::sessionBus().interface()->isServiceRegistered(secrets).value();
        };
        if (!QTest::qWaitFor(there, patience)) qFatal("no keyring");
    }
    void stop() {
        m_daemon.kill();
        m_daemon.waitForFinished();
    }
    void send(int signal) { ::kill(static_cast<pid_t>(m_daemon.processId()), signal); }
    static void lock() {
        auto call = QDBusMessage::createMethodCall(secrets, "/org/freedesktop/secrets",
                                                   "org.freedesktop.Secret.Service", "Lock");
        const QDBusObjectPath login("/org/freedesktop/secrets/collection/login");
        call << QVariant::fromValue(QList<QDBusObjectPath>{login});
        QDBusConnection::sessionBus().call(call);
    }

private:
    QTemporaryDir m_folder;
    QProcess m_bus;
    QProcess m_daemon;
};

/// A dialogue for the keyring's password that nobody answers.
class SilentPrompter : public QDBusVirtualObject {
public:
    SilentPrompter() {
        auto bus = QDBusConnection::sessionBus();
        bus.registerVirtualObject("/org/gnome/keyring/Prompter", this);
        bus.registerService("org.gnome.keyring.SystemPrompter");
    }
    ~SilentPrompter() override {
        auto bus = QDBusConnection::sessionBus();
        bus.unregisterObject("/org/gnome/keyring/Prompter");
        bus.unregisterService("org.gnome.keyring.SystemPrompter");
    }
    [[nodiscard]] QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage&, const QDBusConnection&) override {
        ++asked;
        return true; // and no answer ever
    }
    int asked = 0;
};

enum class State { open, none, locked, hangs };

/// A store, and the keyring at its other end. Time moves by hand.
struct World : ContractWorld {
    VirtualScheduler scheduler;
    std::unique_ptr<SecretStore> store;
    QStringList answers;

    virtual void be(State state) = 0;
    virtual void awake() = 0; ///< from hanging
    virtual void die() = 0;

    void read(const QString& account) {
        store->read(
            account, [this](auto found) { answers << describe(found); },
            [this](auto found) { answers << "late: " + describe(found); });
    }
    void save(const QString& account, const QString& value) {
        store->save(account, value, [this](auto done) { answers << (done ? "saved" : "error"); });
    }
    void remove(const QString& account) {
        store->remove(account, [this](auto done) { answers << (done ? "removed" : "error"); });
    }
    /// The answers so far, once there are `count`; they are forgotten then.
    QStringList next(int count) {
        (void)QTest::qWaitFor(
            [&] {
                scheduler.runPending();
                return answers.size() >= count;
            },
            patience);
        return std::exchange(answers, {});
    }
    /// Opens the keyring and saves "value" as "a".
    void fill() {
        be(State::open);
        save("a", "value");
        QCOMPARE(next(1), QStringList{"saved"});
    }
    /// What is under "a" now.
    QString valueOfA() {
        read("a");
        return next(1).join(' ');
    }

private:
    static QString describe(const SecretStore::Found& found) {
        if (!found) return found.error().reason.isEmpty() ? "an error without words" : "error";
        return found->value_or("nothing");
    }
};

struct FakeWorld : World {
    FakeWorld() {
        auto made = std::make_unique<FakeSecretStore>(scheduler);
        fake = made.get();
        store = std::move(made);
    }
    void be(State state) override {
        fake->refusal = state == State::none || state == State::locked ? "there is none" : "";
        fake->delay = state == State::hangs ? 8 : 0;
    }
    void awake() override {
        if (store) fake->delay = 0;
        scheduler.advance(8);
    }
    void die() override { fake->die(); }

    FakeSecretStore* fake;
};

PrivateKeyring* keyring = nullptr;

struct RealWorld : World {
    RealWorld() { store = std::make_unique<KeychainSecretStore>(scheduler); }
    ~RealWorld() override { keyring->send(SIGCONT); }
    void be(State state) override {
        if (state == State::none) return keyring->stop();
        if (state == State::open) keyring->stop(); // locked ones are unlocked by their start
        keyring->start();
        if (state == State::locked) PrivateKeyring::lock();
        if (state == State::hangs) keyring->send(SIGSTOP);
    }
    void awake() override { keyring->send(SIGCONT); }
    void die() override { keyring->stop(); }
};

std::unique_ptr<World> makeWorld() {
    return makeWorldOfRow<World, FakeWorld, RealWorld>();
}
std::unique_ptr<World> makeFilledWorld() {
    auto world = makeWorld();
    world->fill();
    return world;
}

} // namespace

class SecretStoreContractTest : public QObject {
    Q_OBJECT

    std::unique_ptr<PrivateKeyring> m_keyring;

private Q_SLOTS:
    void initTestCase() {
        m_keyring = std::make_unique<PrivateKeyring>();
        keyring = m_keyring.get();
    }
    void cleanupTestCase() { m_keyring.reset(); }

    void itemsAreReadReplacedAndRemovedInTheOrderOfTheCalls_data() { addWorlds(); }
    void itemsAreReadReplacedAndRemovedInTheOrderOfTheCalls() {
        const auto world = makeWorld();
        world->be(State::open);
        const QString value = "ключ \"x\"\n" + QString(4000, 'k');
        world->read("a");
        world->save("a", "old");
        world->save("a", value);
        world->save("b", "other");
        world->read("a");
        world->remove("a");
        world->read("a");
        world->remove("a");
        world->read("b");
        QVERIFY(world->answers.isEmpty()); // on a later turn
        QCOMPARE(world->next(9), (QStringList{"nothing", "saved", "saved", "saved", value,
                                              "removed", "nothing", "removed", "other"}));
    }

    void whatCannotAnswerIsAnErrorAndLosesNothing_data() { addWorlds(); }
    void whatCannotAnswerIsAnErrorAndLosesNothing() {
        const auto world = makeFilledWorld();
        for (const State state : {State::none, State::locked}) {
            world->be(state);
            world->read("a");
            world->read("unknown");
            world->save("a", "another");
            world->remove("a");
            QCOMPARE(world->next(4), (QStringList{"error", "error", "error", "error"}));
            world->be(State::open);
            QCOMPARE(world->valueOfA(), "value");
        }
    }

    void anAnswerThatComesTooLateStillCounts_data() { addWorlds(); }
    void anAnswerThatComesTooLateStillCounts() {
        const auto world = makeFilledWorld();
        world->be(State::hangs);
        world->read("a");
        QTest::qWait(50);
        world->scheduler.advance(4.9);
        QVERIFY(world->answers.isEmpty());
        world->scheduler.advance(0.2);
        QCOMPARE(world->next(1), QStringList{"error"});
        world->awake();
        QCOMPARE(world->next(1), QStringList{"late: value"});
        QCOMPARE(world->valueOfA(), "value");
    }

    void aKeyringThatDiesInTheMiddleIsAnErrorUntilItIsBack_data() { addWorlds(); }
    void aKeyringThatDiesInTheMiddleIsAnErrorUntilItIsBack() {
        const auto world = makeFilledWorld();
        world->be(State::hangs);
        world->read("a");
        world->save("a", "another");
        world->scheduler.runPending();
        QTest::qWait(50); // the question is on its way
        world->die();
        QCOMPARE(world->next(2), (QStringList{"error", "error"}));
        world->be(State::open);
        QCOMPARE(world->valueOfA(), "value");
    }

    void aPromptThatNobodyAnswersKeepsNothingElseWaiting() {
        RealWorld world;
        world.fill();
        SilentPrompter prompter;
        world.be(State::locked);
        world.read("a");
        world.read("unknown"); // needs no prompt
        QTRY_VERIFY_WITH_TIMEOUT(prompter.asked > 0, patience);
        QVERIFY(world.answers.isEmpty());
        world.scheduler.advance(5.1);
        QCOMPARE(world.next(2), (QStringList{"error", "error"}));
        QCOMPARE(world.scheduler.pendingTimers(), 0);
    }

    void destroyingItDuringAQuestionIsTheEndOfIt_data() { addWorlds(); }
    void destroyingItDuringAQuestionIsTheEndOfIt() {
        const auto world = makeWorld();
        world->be(State::hangs);
        world->read("a");
        world->save("a", "value");
        world->scheduler.runPending();
        QTest::qWait(50); // the question is on its way
        world->store.reset();
        world->awake();
        QTest::qWait(100);
        QVERIFY(world->answers.isEmpty());
        (void)makeFilledWorld(); // which the old one's question does not hold up
    }
};

} // namespace murlo

QTEST_GUILESS_MAIN(murlo::SecretStoreContractTest)
#include "SecretStoreContractTest.moc"
