#pragma once

#include <QList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUrl>

#include <functional>
#include <memory>

namespace murlo {

/// A request as it came over the wire.
struct ReceivedRequest {
    QByteArray head; ///< in lower case, with all its line ends
    QByteArray body;
};

/// What the server does with a request.
struct ServerAnswer {
    enum Manner {
        complete, ///< headers with the length, the body, and the connection is closed
        chunked,  ///< the same in chunks of 1000 bytes
        cutOff,   ///< promises twice the body and closes in its middle
        bare,     ///< the body alone, which need not be HTTP
        staying,  ///< the body alone, and the connection stays open
        never,    ///< keeps the connection and says nothing
    };
    int status = 200;
    QByteArray body = "{}";
    Manner manner = complete;
    QByteArray header = {}; ///< a further line of the head, with its line end

    [[nodiscard]] QByteArray bytes() const {
        if (manner == bare || manner == staying) return body;
        const QByteArray head = "HTTP/1.1 " + QByteArray::number(status) +
                                " Whatever\r\nConnection: close\r\n" + header;
        if (manner != chunked) {
            const auto length = body.size() * (manner == cutOff ? 2 : 1);
            return head + "Content-Length: " + QByteArray::number(length) + "\r\n\r\n" + body;
        }
        QByteArray chunks;
        for (qsizetype at = 0; at < body.size(); at += 1000) {
            const QByteArray chunk = body.mid(at, 1000);
            chunks += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
        }
        return head + "Transfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n";
    }
};

/// An HTTP server on a free port of 127.0.0.1: remembers every request and answers as told, hostile
/// things included. Runs on the thread that made it.
class LoopbackServer : public QTcpServer {
public:
    LoopbackServer() {
        connect(this, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = nextPendingConnection()) serve(socket);
        });
        listen(QHostAddress::LocalHost);
    }

    ServerAnswer answer; ///< to every request
    /// Gives the answer to each request instead.
    std::function<ServerAnswer(const ReceivedRequest&)> answerTo;
    QList<ReceivedRequest> requests;
    int connections = 0;     ///< accepted so far
    int openConnections = 0; ///< not closed by the client yet

    [[nodiscard]] QUrl url() const {
        return QUrl(QStringLiteral("http://127.0.0.1:%1/path").arg(serverPort()));
    }

    /// Sends more to every client whose connection is open.
    void sendMore(const QByteArray& bytes) {
        for (QTcpSocket* socket : findChildren<QTcpSocket*>()) socket->write(bytes);
    }

private:
    void serve(QTcpSocket* socket) {
        ++connections;
        ++openConnections;
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket, buffer] {
            *buffer += socket->readAll();
            const ReceivedRequest request = received(*buffer);
            if (request.head.isEmpty()) return;
            buffer->clear();
            requests << request;
            const ServerAnswer given = answerTo ? answerTo(request) : answer;
            if (given.manner == ServerAnswer::never) return;
            socket->write(given.bytes());
            if (given.manner != ServerAnswer::staying) socket->disconnectFromHost();
        });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            --openConnections;
            socket->deleteLater();
        });
    }
    /// Without a head until the request is whole.
    static ReceivedRequest received(const QByteArray& bytes) {
        const auto end = bytes.indexOf("\r\n\r\n");
        if (end < 0) return {};
        const QByteArray head = bytes.first(end + 2).toLower();
        qsizetype length = 0;
        for (const QByteArray& line : head.split('\n'))
            if (line.startsWith("content-length:")) length = line.mid(15).trimmed().toLongLong();
        if (bytes.size() < end + 4 + length) return {};
        return {head, bytes.mid(end + 4, length)};
    }
};

/// A port of 127.0.0.1 that nobody listens on.
[[nodiscard]] inline quint16 freePort() {
    return LoopbackServer().serverPort();
}

} // namespace murlo
