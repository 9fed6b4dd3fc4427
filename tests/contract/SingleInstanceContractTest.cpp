#include "platform/linux/freedesktop/SocketSingleInstance.h"
#include "tests/harness/Files.h"

#include <QLocalSocket>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <future>

using namespace murlo;
using Start = SingleInstance::Start;

class SingleInstanceContractTest : public QObject {
    Q_OBJECT

    QTemporaryDir m_folder;
    QList<QStringList> m_heard; ///< what later starts have handed over

    std::unique_ptr<SingleInstance> make() {
        auto instance = std::make_unique<SocketSingleInstance>(m_folder.path());
        instance->onOpenedAgain = [this](const QStringList& arguments) {
            m_heard.append(arguments);
        };
        return instance;
    }
    /// What becomes of a second start, which runs beside the first one's event loop.
    Start startAgain(const QStringList& arguments) {
        auto answer = std::async(std::launch::async, [&] { return make()->acquire(arguments); });
        while (answer.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready)
            QCoreApplication::processEvents();
        return answer.get();
    }

private Q_SLOTS:
    void init() { m_heard.clear(); }

    void theSecondHandsItsArgumentsToTheFirst() {
        auto first = make();
        QCOMPARE(first->acquire({}), Start::first);
        const QStringList address{"murlo://callback?code=ü", "two words\n\x01\"",
                                  "a:/b?c=" + QString(8192, '%')};
        QCOMPARE(startAgain(address), Start::handedOver);
        QCOMPARE(startAgain({}), Start::handedOver);
        QCOMPARE(m_heard, (QList{address, QStringList()}));
        first->release();
        auto third = make();
        QCOMPARE(third->acquire({}), Start::first);
        third.reset();
        QCOMPARE(make()->acquire({}), Start::first);
    }

    void anotherProcessHasTheLockUntilItEnds() {
        const auto instance = make();
        QCOMPARE(instance->acquire({}), Start::first);
        QVERIFY(!instance->isHeldByAnother());
        instance->release();
        QVERIFY(!instance->isHeldByAnother());
        QProcess other;
        other.start("sleep", {"60"});
        QVERIFY(other.waitForStarted());
        putFile(m_folder.filePath("murlo.lock"), QByteArray::number(other.processId()) +
                                                     "\nsleep\n" +
                                                     QSysInfo::machineHostName().toUtf8() + "\n");
        QVERIFY(instance->isHeldByAnother() && !instance->awaitEnd(other.processId(), 0.01));
        const qint64 pid = other.processId();
        other.kill();
        QVERIFY(instance->awaitEnd(pid, 5) && !instance->isHeldByAnother());
        QVERIFY(other.waitForFinished() && instance->awaitEnd(pid, 0));
    }

    void oneThatIsEndingIsWaitedFor() {
        auto first = make();
        QCOMPARE(first->acquire({}), Start::first);
        first->beginEnding();
        QTimer::singleShot(300, this, [&] { first.reset(); });
        QCOMPARE(startAgain({}), Start::first);
        QVERIFY(m_heard.isEmpty());
    }

    void neitherACrashNorNonsenseKeepsALaterStartFromBeingHeard() {
        // No process can have this number.
        putFile(m_folder.filePath("murlo.lock"),
                "4194305\nmurlo\n" + QSysInfo::machineHostName().toUtf8() + "\n");
        putFile(m_folder.filePath("murlo.socket"), {});
        const auto instance = make();
        QCOMPARE(instance->acquire({}), Start::first);
        QLocalSocket socket;
        socket.connectToServer(m_folder.filePath("murlo.socket"));
        QVERIFY(socket.waitForConnected());
        socket.write(QByteArray(200000, '{'));
        socket.flush();
        socket.disconnectFromServer();
        QCOMPARE(startAgain({"real"}), Start::handedOver);
        QCOMPARE(m_heard.size(), 1);
        QCOMPARE(m_heard.first(), QStringList("real"));
    }
};

QTEST_GUILESS_MAIN(SingleInstanceContractTest)
#include "SingleInstanceContractTest.moc"
