#include "platform/linux/freedesktop/RouteReachability.h"
#include "tests/contract/Worlds.h"
#include "tests/fakes/FakeReachability.h"

#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>

#include <sched.h>
#include <unistd.h>

namespace murlo {

namespace {

constexpr int patience = 20'000; ///< milliseconds

bool write(const char* file, const QByteArray& text) {
    QFile target(file);
    return target.open(QIODevice::WriteOnly) && target.write(text) == text.size() && target.flush();
}

/// Gives this process, and the programs that it starts, a network of their own. Before there are
/// threads, which bind a process to its user. Why not, in a sentence; empty if it has one.
QByteArray leaveTheNetwork() {
    const QByteArray user = QByteArray::number(::geteuid());
    if (::unshare(CLONE_NEWNET) == 0) return {};
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0) // without privileges: as its root
        return "namespaces of users and networks are not permitted here";
    return write("/proc/self/uid_map", "0 " + user + " 1")
               ? ""
               : "users cannot be mapped into a namespace here";
}

bool ip(const QString& command) {
    return QProcess::execute("ip", command.split(' ')) == 0;
}

} // namespace

class ReachabilityContractTest : public QObject {
    Q_OBJECT

public:
    explicit ReachabilityContractTest(QByteArray noNetwork)
        : m_noNetwork(std::move(noNetwork)) {}

private:
    QByteArray m_noNetwork; ///< why there is none of our own

private Q_SLOTS:
    void everyReturnOfTheNetworkIsTold_data() { addWorlds(); }
    void everyReturnOfTheNetworkIsTold() {
        QFETCH(bool, real);
        if (real && !m_noNetwork.isEmpty()) QSKIP(m_noNetwork.constData());
        if (real && !ip("link show lo")) QSKIP("there is no program \"ip\"");
        FakeReachability fake;
        RouteReachability kernel;
        Reachability& port = real ? static_cast<Reachability&>(kernel) : fake;
        const auto comeBack = [&] {
            if (!real) return fake.comeBack();
            QVERIFY(ip("link set lo up") && ip("addr replace 192.0.2.2/24 dev lo"));
            QVERIFY(ip("route add default via 192.0.2.1"));
        };
        const auto goAway = [&] { // the routes go with their link
            if (real) QVERIFY(ip("link set lo down"));
        };
        QSignalSpy told(&port, &Reachability::cameBack);
        comeBack();
        port.watch();
        port.watch();
        goAway();
        QTest::qWait(0);
        QCOMPARE(told.count(), 0);
        for (int round = 1; round <= 3; ++round) {
            comeBack();
            QTRY_COMPARE_WITH_TIMEOUT(told.count(), round, patience);
            goAway();
        }
        if (real) QVERIFY(ip("link set lo up")); // without a way to the Internet
        QTest::qWait(0);
        QCOMPARE(told.count(), 3);
    }
};

} // namespace murlo

int main(int argc, char** argv) {
    murlo::ReachabilityContractTest test(murlo::leaveTheNetwork());
    const QCoreApplication application(argc, argv);
    return QTest::qExec(&test, argc, argv);
}

#include "ReachabilityContractTest.moc"
