#include "Walks.h"

#include "Figures.h"
#include "platform/linux/atspi/AtspiCalls.h"
#include "tests/harness/desktop/Waiting.h"

#include <QDBusConnection>
#include <QUuid>

#include <deque>
#include <future>

namespace murlo {

namespace {

class BlockingWalk {
public:
    explicit BlockingWalk(const QString& address)
        : m_name(QUuid::createUuid().toString())
        , m_bus(QDBusConnection::connectToBus(address, m_name)) {}
    ~BlockingWalk() { QDBusConnection::disconnectFromBus(m_name); }
    BlockingWalk(const BlockingWalk&) = delete;
    BlockingWalk& operator=(const BlockingWalk&) = delete;

    void run(qint64 pid) {
        constexpr double limit = 2.8; // seconds
        constexpr int budget = 14000; // objects of a window
        const double start = seconds();
        std::deque<AtspiReference> open = windowsOf(pid);
        while (!open.empty() && walked < budget) {
            if (seconds() - start > limit) return;
            const AtspiReference object = open.front();
            open.pop_front();
            ++walked;
            (void)atspi::roleOf(ask(atspi::getRole(object)));
            const auto states = atspi::statesOf(ask(atspi::getState(object)));
            (void)atspi::extentsOf(ask(atspi::getExtents(object, atspi::Coordinates::screen)));
            if (!states || !states->has(AtspiState::showing)) continue;
            for (const AtspiReference& child : atspi::referencesOf(ask(atspi::getChildren(object))))
                if (!child.isNull()) open.push_back(child);
        }
        whole = open.empty();
    }

    int walked = 0;
    bool whole = false; ///< no bound ended it

private:
    [[nodiscard]] QDBusMessage ask(const QDBusMessage& call) const {
        return m_bus.call(call, QDBus::Block, 5000);
    }
    [[nodiscard]] std::deque<AtspiReference> windowsOf(qint64 wanted) const {
        std::deque<AtspiReference> found;
        for (const AtspiReference& program : atspi::referencesOf(
                 ask(atspi::getChildren({atspi::registryService, atspi::rootPath})))) {
            const auto pid = atspi::numberOf(ask(atspi::getProcessId(program.service)));
            if (!pid || qint64(*pid) != wanted) continue;
            for (const AtspiReference& window :
                 atspi::referencesOf(ask(atspi::getChildren(program))))
                found.push_back(window);
        }
        return found;
    }

    QString m_name;
    QDBusConnection m_bus;
};

} // namespace

QString busAddress() {
    const auto call = QDBusMessage::createMethodCall(
        QStringLiteral("org.a11y.Bus"), QStringLiteral("/org/a11y/bus"),
        QStringLiteral("org.a11y.Bus"), QStringLiteral("GetAddress"));
    return QDBusConnection::sessionBus().call(call).arguments().value(0).toString();
}

ParallelWalk::ParallelWalk(const QString& address, const QList<qint64>& pids) {
    const double start = seconds();
    std::vector<std::future<std::pair<int, bool>>> walks;
    for (const qint64 pid : pids)
        walks.push_back(std::async(std::launch::async, [address, pid] {
            BlockingWalk walk(address);
            walk.run(pid);
            return std::pair(walk.walked, walk.whole);
        }));
    for (auto& walk : walks) {
        const auto [count, complete] = walk.get();
        objects += count;
        whole = whole && complete;
    }
    took = seconds() - start;
}

CallMonitor::CallMonitor(const QString& address) {
    m_process.start(QStringLiteral("dbus-monitor"),
                    {QStringLiteral("--address"), address, QStringLiteral("--profile")});
    m_process.waitForStarted();
    letPass(500);
    m_process.readAllStandardOutput();
}

CallMonitor::~CallMonitor() {
    m_process.kill();
    m_process.waitForFinished();
}

int CallMonitor::calls() {
    letPass(300);
    int count = 0;
    for (const QByteArray& line : m_process.readAllStandardOutput().split('\n'))
        if (line.startsWith("mc\t")) ++count;
    return count;
}

} // namespace murlo
