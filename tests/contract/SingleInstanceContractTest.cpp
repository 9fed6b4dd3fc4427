#include "platform/linux/freedesktop/SocketSingleInstance.h"
#include "tests/support/FakeSingleInstance.h"

#include <QFile>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>

using namespace murlo;

class SingleInstanceContractTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    FakeSingleInstance::Session m_session;

    std::unique_ptr<SingleInstance> make(const QString& kind) {
        if (kind == "fake") return std::make_unique<FakeSingleInstance>(m_session);
        return std::make_unique<SocketSingleInstance>(m_folder.path());
    }

private Q_SLOTS:
    void theSecondHandsItsArgumentsToTheFirst_data() {
        QTest::addColumn<QString>("kind");
        QTest::newRow("fake") << "fake";
        QTest::newRow("socket") << "socket";
    }

    void theSecondHandsItsArgumentsToTheFirst() {
        QFETCH(QString, kind);
        QList<QStringList> heard;
        auto first = make(kind);
        first->onOpenedAgain = [&](const QStringList& arguments) { heard.append(arguments); };
        QVERIFY(first->acquire({}));
        QVERIFY(!make(kind)->acquire({"murlo://callback?code=ü", "two words"}));
        QTRY_COMPARE(heard.size(), 1);
        QCOMPARE(heard.first(), (QStringList{"murlo://callback?code=ü", "two words"}));
        QVERIFY(!make(kind)->acquire({}));
        QTRY_COMPARE(heard.size(), 2);
        QVERIFY(heard.last().isEmpty());
        first->release();
        auto third = make(kind);
        QVERIFY(third->acquire({}));
        third.reset();
        QVERIFY(make(kind)->acquire({}));
    }

    void whatACrashLeftBehindIsTakenOver() {
        QFile lock(m_folder.filePath("murlo.lock"));
        QVERIFY(lock.open(QIODevice::WriteOnly));
        // No process can have this number.
        lock.write("4194305\nmurlo\n" + QSysInfo::machineHostName().toUtf8() + "\n");
        lock.close();
        QFile socket(m_folder.filePath("murlo.socket"));
        QVERIFY(socket.open(QIODevice::WriteOnly));
        socket.close();
        SocketSingleInstance instance(m_folder.path());
        QVERIFY(instance.acquire({}));
        bool heard = false;
        instance.onOpenedAgain = [&](const QStringList&) { heard = true; };
        SocketSingleInstance second(m_folder.path());
        QVERIFY(!second.acquire({}));
        QTRY_VERIFY(heard);
    }

    void nonsenseOnTheSocketIsIgnored() {
        SocketSingleInstance instance(m_folder.path());
        QVERIFY(instance.acquire({}));
        int heard = 0;
        instance.onOpenedAgain = [&](const QStringList&) { ++heard; };
        QLocalSocket socket;
        socket.connectToServer(m_folder.filePath("murlo.socket"));
        QVERIFY(socket.waitForConnected());
        socket.write(QByteArray(200000, '{'));
        socket.flush();
        socket.disconnectFromServer();
        SocketSingleInstance second(m_folder.path());
        QVERIFY(!second.acquire({"real"}));
        QTRY_COMPARE(heard, 1);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceContractTest)
#include "SingleInstanceContractTest.moc"
