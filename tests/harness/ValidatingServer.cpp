#include "tests/harness/ValidatingServer.h"

#include <QTcpSocket>
#include <QUrl>

#include <memory>

namespace murlo {

namespace {

/// Parts are read from the front of the body; what does not fit is a problem and ends the reading.
class FormReader {
public:
    FormReader(const ReceivedRequest& request, ReceivedForm& form)
        : m_rest(request.body)
        , m_form(form) {}

    bool take(const QByteArray& expected, const char* what) {
        if (!m_rest.startsWith(expected)) return fail(what);
        m_rest = m_rest.sliced(expected.size());
        return true;
    }
    /// What comes before `end`, which is taken too.
    bool takeUntil(const QByteArray& end, QByteArray& taken, const char* what) {
        const auto at = m_rest.indexOf(end);
        if (at < 0) return fail(what);
        taken = m_rest.first(at).toByteArray();
        m_rest = m_rest.sliced(at + end.size());
        return true;
    }
    [[nodiscard]] bool startsWith(const QByteArray& text) const { return m_rest.startsWith(text); }
    [[nodiscard]] bool atEnd() const { return m_rest.isEmpty(); }

private:
    bool fail(const char* what) {
        m_form.problems << QLatin1String(what) + QLatin1String(" expected at: ") +
                               QString::fromLatin1(
                                   m_rest.first(qMin(m_rest.size(), 60)).toByteArray());
        return false;
    }

    QByteArrayView m_rest;
    ReceivedForm& m_form;
};

bool readPart(FormReader& reader, const QByteArray& delimiter, ReceivedForm& form) {
    QByteArray name;
    QByteArray value;
    if (!reader.take("Content-Disposition: form-data; name=\"", "disposition") ||
        !reader.takeUntil("\"", name, "name")) {
        return false;
    }
    if (name == "file") {
        return reader.take("; filename=\"clip.wav\"\r\nContent-Type: audio/wav\r\n\r\n",
                           "file part") &&
               reader.takeUntil("\r\n" + delimiter, form.wav, "end of the file");
    }
    if (!reader.take("\r\n\r\n", "blank line") ||
        !reader.takeUntil("\r\n" + delimiter, value, "end of the field")) {
        return false;
    }
    if (form.fields.contains(name)) form.problems << QStringLiteral("a field occurs twice");
    form.fields.insert(name, value);
    return true;
}

void checkWav(const QByteArray& wav, QStringList& problems) {
    const auto number = [&](qsizetype at) {
        return static_cast<quint8>(wav[at]) | static_cast<quint8>(wav[at + 1]) << 8 |
               static_cast<quint8>(wav[at + 2]) << 16 | static_cast<quint8>(wav[at + 3]) << 24;
    };
    if (wav.size() < 44 || !wav.startsWith("RIFF") || wav.mid(8, 8) != "WAVEfmt " ||
        wav.mid(36, 4) != "data") {
        problems << QStringLiteral("no canonical WAV header");
    } else if (number(4) != wav.size() - 8 || number(40) != wav.size() - 44) {
        problems << QStringLiteral("the WAV header's lengths are wrong");
    }
}

} // namespace

ReceivedForm readTranscriptionForm(const ReceivedRequest& request) {
    ReceivedForm form;
    const QByteArray type = request.headers.value("content-type");
    const QByteArray prefix = "multipart/form-data; boundary=";
    if (request.method != "POST") form.problems << QStringLiteral("the method is not POST");
    if (!type.startsWith(prefix)) {
        form.problems << QStringLiteral("the content type is no form");
        return form;
    }
    form.boundary = type.mid(prefix.size());
    const QByteArray delimiter = "--" + form.boundary;
    FormReader reader(request, form);
    if (!reader.take(delimiter, "delimiter")) return form;
    while (!reader.startsWith("--")) {
        if (!reader.take("\r\n", "line end") || !readPart(reader, delimiter, form)) return form;
    }
    if (reader.take("--\r\n", "last line end") && !reader.atEnd()) {
        form.problems << QStringLiteral("something follows the form");
    }
    checkWav(form.wav, form.problems);
    return form;
}

ValidatingServer::ValidatingServer(QObject* parent)
    : QTcpServer(parent) {
    connect(this, &QTcpServer::newConnection, this, &ValidatingServer::accept);
}

QUrl ValidatingServer::url(const QString& path) const {
    return QUrl(QStringLiteral("http://127.0.0.1:%1%2").arg(serverPort()).arg(path));
}

void ValidatingServer::accept() {
    while (QTcpSocket* socket = nextPendingConnection()) {
        ++connections;
        ++openConnections;
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QTcpSocket::readyRead, this,
                [this, socket, buffer] { read(*socket, *buffer); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            --openConnections;
            socket->deleteLater();
        });
    }
}

void ValidatingServer::read(QTcpSocket& socket, QByteArray& buffer) {
    buffer += socket.readAll();
    const auto headEnd = buffer.indexOf("\r\n\r\n");
    if (headEnd < 0) return;
    QList<QByteArray> lines = buffer.first(headEnd).split('\n');
    const auto words = lines.takeFirst().trimmed().split(' ');
    ReceivedRequest request{words.value(0), words.value(1), {}, {}};
    for (const QByteArray& line : lines) {
        const auto colon = line.indexOf(':');
        request.headers.insert(line.first(colon).toLower(), line.mid(colon + 1).trimmed());
    }
    const qsizetype length = request.headers.value("content-length").toLongLong();
    if (buffer.size() < headEnd + 4 + length) return;
    request.body = buffer.mid(headEnd + 4, length);
    buffer.remove(0, headEnd + 4 + length);
    requests << request;
    respond(socket, answer ? answer(request) : ServerAnswer{});
}

void ValidatingServer::respond(QTcpSocket& socket, const ServerAnswer& what) {
    if (what.manner == ServerAnswer::never) return;
    QByteArray out;
    if (what.manner != ServerAnswer::closed && what.manner != ServerAnswer::garbage) {
        out = "HTTP/1.1 " + QByteArray::number(what.status) + " Whatever\r\nConnection: close\r\n";
        for (const QByteArray& header : what.headers) out += header + "\r\n";
        const bool isCut = what.manner == ServerAnswer::cutOff;
        out += what.manner == ServerAnswer::chunked
                   ? QByteArray("Transfer-Encoding: chunked")
                   : "Content-Length: " + QByteArray::number(what.body.size() * (isCut ? 2 : 1));
        out += "\r\n\r\n";
    }
    if (what.manner == ServerAnswer::chunked) {
        for (qsizetype at = 0; at < what.body.size(); at += 1000) {
            const QByteArray chunk = what.body.mid(at, 1000);
            out += QByteArray::number(chunk.size(), 16) + "\r\n" + chunk + "\r\n";
        }
        out += "0\r\n\r\n";
    } else if (what.manner != ServerAnswer::closed) {
        out += what.body;
    }
    socket.write(out);
    socket.disconnectFromHost();
}

quint16 freePort() {
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    return server.serverPort();
}

} // namespace murlo
