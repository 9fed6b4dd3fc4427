#include "platform/linux/freedesktop/Login1SystemEvents.h"

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
        pollfd watched{m_kept.fileDescriptor(), POLLIN, 0};
        return m_kept.isValid() && poll(&watched, 1, 0) == 0; // else the other end was closed
    }

    QString asked; ///< for what, and in which way

public Q_SLOTS:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString&, const QString&,
                                    const QString& mode) {
        asked = what + ' ' + mode;
        int ends[2];
        QDBusUnixFileDescriptor handed;
        if (pipe2(ends, O_CLOEXEC) != 0) return handed;
        m_kept.giveFileDescriptor(ends[0]);
        handed.giveFileDescriptor(ends[1]);
        return handed;
    }

Q_SIGNALS:
    void PrepareForSleep(bool beginning);
    void PrepareForShutdown(bool beginning);

private:
    QDBusUnixFileDescriptor m_kept;
};

} // namespace

class SystemEventsContractTest : public QObject {
    Q_OBJECT

    LoginManager m_manager;

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

    void theSystemIsHeldUpUntilTheHandlerHasRun() {
        for (const QString what : {"sleep", "power off"}) {
            const auto prepare = [&](bool beginning) {
                Q_EMIT what == "sleep" ? m_manager.PrepareForSleep(beginning)
                                       : m_manager.PrepareForShutdown(beginning);
            };
            Login1SystemEvents events;
            QStringList told;
            const auto tell = [&](const QString& event) {
                told.append(m_manager.isInhibited() ? event : "too late");
            };
            events.onWillSleep = [&] { tell("sleep"); };
            events.onWillPowerOff = [&] { tell("power off"); };
            events.start();
            QTRY_VERIFY(m_manager.isInhibited());
            QCOMPARE(m_manager.asked, "sleep:shutdown delay");
            QTest::qWait(50); // the reply that carries the inhibitor is on its way
            prepare(true);
            QTRY_COMPARE(told, QStringList{what});
            QTRY_VERIFY(!m_manager.isInhibited());
            prepare(false);
            QTRY_VERIFY(m_manager.isInhibited());
            QCOMPARE(told.size(), 1);
        }
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
