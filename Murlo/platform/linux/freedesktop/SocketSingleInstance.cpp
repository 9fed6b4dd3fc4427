#include "platform/linux/freedesktop/SocketSingleInstance.h"

#include "platform/linux/freedesktop/IndependentProcess.h"
#include "support/Log.h"

#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>
#include <QProcess>

#include <cerrno>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace murlo {

namespace {
constexpr int handOverLimitMilliseconds = 2000;
constexpr int startLimitMilliseconds = 2000;
constexpr int endingLimitMilliseconds = 10000;
const QByteArray received = QByteArrayLiteral("received");
constexpr qint64 longestMessage = 64LL * 1024;
} // namespace

SocketSingleInstance::SocketSingleInstance(const QString& folder)
    : m_program(QCoreApplication::applicationFilePath())
    , m_socketPath(folder + QStringLiteral("/murlo.socket"))
    , m_lock(std::make_unique<QLockFile>(folder + QStringLiteral("/murlo.lock"))) {
    m_lock->setStaleLockTime(0); // a lock becomes stale only when its process ends
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    QObject::connect(&m_server, &QLocalServer::newConnection, &m_server, [this] {
        while (QLocalSocket* from = m_server.nextPendingConnection()) receive(from);
    });
}

SocketSingleInstance::~SocketSingleInstance() {
    release();
}

SingleInstance::Start SocketSingleInstance::acquire(const QStringList& arguments) {
    if (!m_lock->tryLock(0)) {
        if (m_lock->error() == QLockFile::LockFailedError) {
            if (handOver(arguments)) return Start::handedOver;
            // An instance that does not answer is shutting down or not listening yet: wait for its
            // lock.
            if (!m_lock->tryLock(endingLimitMilliseconds)) return Start::unanswered;
        } else {
            // The folder does not allow locks at all: run without one rather than not at all.
            Log::write(
                QStringLiteral("app: cannot lock the runtime folder, running without a lock"));
        }
    }
    QLocalServer::removeServer(m_socketPath); // left over from a crash
    if (!m_server.listen(m_socketPath)) {
        Log::write(QStringLiteral("app: cannot be opened again: ") + m_server.errorString());
    }
    return Start::first;
}

void SocketSingleInstance::release() {
    m_server.close();
    m_lock->unlock();
}

tl::expected<void, QString> SocketSingleInstance::startAnother(const QStringList& arguments) {
    QProcess* process = makeIndependentProcess();
    process->start(m_program, arguments);
    if (process->waitForStarted(startLimitMilliseconds)) return {};
    return tl::unexpected(process->errorString());
}

bool SocketSingleInstance::isHeldByAnother() const {
    qint64 pid = 0;
    QString host;
    QString program;
    return m_lock->getLockInfo(&pid, &host, &program) &&
           pid != QCoreApplication::applicationPid() && !awaitEnd(pid, 0);
}

bool SocketSingleInstance::awaitEnd(qint64 pid, double seconds) const {
    constexpr int milliseconds = 1000;
    const int process = static_cast<int>(syscall(SYS_pidfd_open, static_cast<pid_t>(pid), 0));
    if (process < 0) return errno == ESRCH;
    pollfd end{process, POLLIN, 0};
    const bool hasEnded = poll(&end, 1, static_cast<int>(seconds * milliseconds)) > 0;
    close(process);
    return hasEnded;
}

bool SocketSingleInstance::handOver(const QStringList& arguments) const {
    QLocalSocket socket;
    socket.connectToServer(m_socketPath);
    if (!socket.waitForConnected(handOverLimitMilliseconds)) return false;
    socket.write(
        QJsonDocument(QJsonArray::fromStringList(arguments)).toJson(QJsonDocument::Compact) + '\n');
    socket.flush();
    return socket.waitForReadyRead(handOverLimitMilliseconds) && socket.readAll() == received;
}

void SocketSingleInstance::receive(QLocalSocket* from) {
    from->setReadBufferSize(longestMessage);
    QObject::connect(from, &QLocalSocket::disconnected, from, &QObject::deleteLater);
    const auto read = [this, from] {
        if (!from->canReadLine()) return;
        const QJsonDocument message = QJsonDocument::fromJson(from->readLine());
        if (!message.isArray()) return;
        from->write(received);
        from->flush();
        if (onOpenedAgain) onOpenedAgain(QVariant(message.array().toVariantList()).toStringList());
    };
    QObject::connect(from, &QLocalSocket::readyRead, from, read);
    read();
}

} // namespace murlo
