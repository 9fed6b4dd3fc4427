#include "platform/linux/freedesktop/SocketSingleInstance.h"

#include "support/Log.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QLocalSocket>

namespace murlo {

namespace {
constexpr int handOverLimitMilliseconds = 2000;
constexpr int endingLimitMilliseconds = 10000;
const QByteArray received = QByteArrayLiteral("received");
constexpr qint64 longestMessage = 64LL * 1024;
} // namespace

SocketSingleInstance::SocketSingleInstance(const QString& folder)
    : m_socketPath(folder + QStringLiteral("/murlo.socket"))
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
