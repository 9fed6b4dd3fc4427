#include "platform/linux/freedesktop/Login1SystemEvents.h"
#include "tests/fakes/FakeSystemEvents.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusMessage>
#include <QDBusUnixFileDescriptor>
#include <QTest>

#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

using namespace murlo;

namespace {

/// Stands in for the system's login manager: hands out inhibitors and tells of sleep.
class LoginManager : public QObject, public QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    /// Whether somebody holds the inhibitor that was handed out last.
    [[nodiscard]] bool isInhibited() const {
        pollfd watched{m_kept, POLLIN, 0};
        return m_kept >= 0 && poll(&watched, 1, 0) == 0; // the other end closed would be a hang-up
    }
    ~LoginManager() override {
        if (m_kept >= 0) close(m_kept);
    }

    QString what;
    QString mode;

public Q_SLOTS:
    QDBusUnixFileDescriptor Inhibit(const QString& forWhat, const QString&, const QString&,
                                    const QString& asMode) {
        what = forWhat;
        mode = asMode;
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) return {};
        if (m_kept >= 0) close(m_kept);
        m_kept = ends[0];
        QDBusUnixFileDescriptor handed(ends[1]);
        close(ends[1]);
        return handed;
    }

Q_SIGNALS:
    void PrepareForSleep(bool beginning);
    void PrepareForShutdown(bool beginning);

private:
    int m_kept = -1;
};

/// A system events port, and how the events are made to happen.
struct Subject {
    std::unique_ptr<SystemEvents> events;
    std::function<void()> sleep;
    std::function<void()> powerOff;
};

} // namespace

class SystemEventsContractTest : public QObject {
    Q_OBJECT

    LoginManager m_manager;

    Subject subject(const QString& kind) {
        if (kind == "fake") {
            auto fake = std::make_unique<FakeSystemEvents>();
            auto* system = fake.get();
            return {std::move(fake), [system] { system->sleep(); },
                    [system] { system->powerOff(); }};
        }
        return {std::make_unique<Login1SystemEvents>(),
                [this] { Q_EMIT m_manager.PrepareForSleep(true); },
                [this] { Q_EMIT m_manager.PrepareForShutdown(true); }};
    }

private Q_SLOTS:
    void initTestCase() {
        // The desktop's private session bus plays the system bus.
        const QByteArray address = qgetenv("DBUS_SESSION_BUS_ADDRESS");
        QVERIFY2(!address.isEmpty(), "needs a session bus");
        qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
        QDBusConnection bus = QDBusConnection::sessionBus();
        QVERIFY(bus.registerService("org.freedesktop.login1"));
        QVERIFY(bus.registerObject("/org/freedesktop/login1", &m_manager,
                                   QDBusConnection::ExportAllContents));
    }

    void sleepAndPowerOffAreTold_data() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("fake") << "fake";
        QTest::newRow("login1") << "login1";
    }

    void sleepAndPowerOffAreTold() {
        QFETCH(QString, kind);
        const Subject on = subject(kind);
        int sleeps = 0;
        int powerOffs = 0;
        on.events->onWillSleep = [&] { ++sleeps; };
        on.events->onWillPowerOff = [&] { ++powerOffs; };
        on.events->start();
        QTest::qWait(1); // lets the subscription go out
        on.sleep();
        QTRY_COMPARE(sleeps, 1);
        QCOMPARE(powerOffs, 0);
        on.powerOff();
        QTRY_COMPARE(powerOffs, 1);
        QCOMPARE(sleeps, 1);
    }

    void theSystemIsHeldUpUntilTheHandlerHasRun() {
        Login1SystemEvents events;
        bool heldDuringHandler = false;
        events.onWillSleep = [&] { heldDuringHandler = m_manager.isInhibited(); };
        events.start();
        QTRY_VERIFY(m_manager.isInhibited());
        QCOMPARE(m_manager.what, "sleep:shutdown");
        QCOMPARE(m_manager.mode, "delay");
        QTest::qWait(50); // the reply that carries the inhibitor is on its way
        Q_EMIT m_manager.PrepareForSleep(true);
        QTRY_VERIFY(heldDuringHandler);
        QTRY_VERIFY(!m_manager.isInhibited());
        Q_EMIT m_manager.PrepareForSleep(false);
        QTRY_VERIFY(m_manager.isInhibited());
    }

    void aTerminationSignalReachesTheMainLoop() {
        Login1SystemEvents events;
        int signalled = 0;
        events.onTerminationSignal = [&] { ++signalled; };
        events.start();
        for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
            const int before = signalled;
            QCOMPARE(kill(getpid(), number), 0);
            QTRY_COMPARE(signalled, before + 1);
        }
    }
};

QTEST_GUILESS_MAIN(SystemEventsContractTest)
#include "SystemEventsContractTest.moc"
