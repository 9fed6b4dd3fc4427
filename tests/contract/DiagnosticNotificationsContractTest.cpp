#include "platform/linux/freedesktop/DBusNotifications.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTest>

using namespace murlo;

class DiagnosticNotificationsContractTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatAnotherProcessAsksForOnTheBusIsHeard() {
        DBusNotifications notifications;
        notifications.start();
        QStringList heard;
        notifications.onProbe = [&] { heard.append("probe"); };
        notifications.onIm = [&] { heard.append("im"); };
        notifications.onSnapshot = [&] { heard.append("snapshot"); };
        // A round trip: the bus has taken the subscriptions.
        QVERIFY(!QDBusConnection::sessionBus().interface()->isServiceRegistered("murlo.test"));
        const QStringList all{"snapshot", "probe", "unknown", "im", "probe"};
        for (const QString& what : all)
            QCOMPARE(QProcess::execute("dbus-send",
                                       {"--session", "/any/path", "murlo.diagnostics." + what}),
                     0);
        // The bus does not keep the order of what comes from different senders.
        QTRY_COMPARE(heard.size(), 4);
        heard.sort();
        QCOMPARE(heard, (QStringList{"im", "probe", "probe", "snapshot"}));
    }
};

QTEST_GUILESS_MAIN(DiagnosticNotificationsContractTest)
#include "DiagnosticNotificationsContractTest.moc"
