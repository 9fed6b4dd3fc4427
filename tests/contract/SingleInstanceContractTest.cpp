#include "platform/linux/freedesktop/SocketSingleInstance.h"
#include "tests/fakes/FakeSingleInstance.h"

#include <QFile>
#include <QLocalSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <future>

using namespace murlo;

class SingleInstanceContractTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    FakeSingleInstance::Session m_session;

    std::unique_ptr<SingleInstance> make(const QString& kind) {
        if (kind == "fake") return std::make_unique<FakeSingleInstance>(m_session);
        return std::make_unique<SocketSingleInstance>(m_folder.path());
    }
    /// Whether a second start, which runs beside the first one's event loop, becomes the one.
    bool acquiredBySecond(const QString& kind, const QStringList& arguments) {
        if (kind == "fake") return make(kind)->acquire(arguments);
        auto answer =
            std::async(std::launch::async, [&] { return make(kind)->acquire(arguments); });
        while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            QCoreApplication::processEvents();
        return answer.get();
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
        QVERIFY(!acquiredBySecond(kind, {"murlo://callback?code=ü", "two words"}));
        QCOMPARE(heard.size(), 1);
        QCOMPARE(heard.first(), (QStringList{"murlo://callback?code=ü", "two words"}));
        QVERIFY(!acquiredBySecond(kind, {}));
        QCOMPARE(heard.size(), 2);
        QVERIFY(heard.last().isEmpty());
        first->release();
        auto third = make(kind);
        QVERIFY(third->acquire({}));
        third.reset();
        QVERIFY(make(kind)->acquire({}));
    }

    void oneThatIsEndingIsWaitedFor_data() { theSecondHandsItsArgumentsToTheFirst_data(); }
    void oneThatIsEndingIsWaitedFor() {
        QFETCH(QString, kind);
        auto first = make(kind);
        QVERIFY(first->acquire({}));
        first->beginEnding();
        QTimer::singleShot(300, this, [&] { first.reset(); });
        QVERIFY(acquiredBySecond(kind, {}));
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
        QVERIFY(!acquiredBySecond("socket", {}));
        QVERIFY(heard);
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
        QVERIFY(!acquiredBySecond("socket", {"real"}));
        QCOMPARE(heard, 1);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceContractTest)
#include "SingleInstanceContractTest.moc"
