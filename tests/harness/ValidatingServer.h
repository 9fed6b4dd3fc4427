#pragma once

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTcpServer>

#include <functional>

class QTcpSocket;

namespace murlo {

/// A request as it came over the wire.
struct ReceivedRequest {
    QByteArray method;
    QByteArray path;
    QMap<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;
};

/// The form of a transcription request, and everything that is wrong with it.
struct ReceivedForm {
    QByteArray boundary;
    QMap<QByteArray, QByteArray> fields; ///< the text fields
    QByteArray wav;
    QStringList problems; ///< empty when the request is exactly as the engine's interface wants it
};

/// Takes a transcription request apart, byte by byte.
[[nodiscard]] ReceivedForm readTranscriptionForm(const ReceivedRequest& request);

/// What the server does with one request.
struct ServerAnswer {
    enum Manner {
        complete, ///< headers with the length, the body, and the connection is closed
        chunked,  ///< the same in chunks of 1000 bytes
        cutOff,   ///< promises twice the body and closes in its middle
        closed,   ///< closes without a word
        never,    ///< keeps the connection and says nothing
        garbage,  ///< the body alone, which is no HTTP
    };
    int status = 200;
    QByteArray body = "{}";
    Manner manner = complete;
    QList<QByteArray> headers = {}; ///< further header lines, without line ends
};

/// An HTTP server on 127.0.0.1 for tests: remembers every request and answers as told, hostile
/// things included. Runs on the thread that made it.
class ValidatingServer : public QTcpServer {
public:
    explicit ValidatingServer(QObject* parent = nullptr);

    /// Decides the answer; every request is answered 200 with an empty JSON object by default.
    std::function<ServerAnswer(const ReceivedRequest&)> answer;
    QList<ReceivedRequest> requests;
    int connections = 0;     ///< accepted so far
    int openConnections = 0; ///< not closed by the client yet

    [[nodiscard]] QUrl url(const QString& path) const;

private:
    void accept();
    void read(QTcpSocket& socket, QByteArray& buffer);
    void respond(QTcpSocket& socket, const ServerAnswer& what);
};

/// A port of 127.0.0.1 that nobody listens on.
[[nodiscard]] quint16 freePort();

} // namespace murlo
