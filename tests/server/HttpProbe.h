#pragma once

#include <QByteArray>
#include <QCryptographicHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTcpSocket>

namespace murlo::backend {

/// What came back; status 0 without an answer.
struct Answer {
    int status = 0;
    QByteArray head; ///< lower case
    QByteArray body;

    [[nodiscard]] QJsonObject json() const { return QJsonDocument::fromJson(body).object(); }
};

/// An HTTP client that writes exactly what it is told and waits for the answer. One connection,
/// which is made anew when it is gone. Any one thread; needs no event loop.
class HttpProbe {
public:
    explicit HttpProbe(quint16 port, QString address = QStringLiteral("127.0.0.1"))
        : m_address(std::move(address))
        , m_port(port) {}

    /// JSON unless the headers name another type.
    Answer ask(const QByteArray& method, const QByteArray& path, const QByteArray& body = {},
               const QByteArray& key = {}, QByteArray headers = {}) {
        if (!headers.toLower().contains("content-type:"))
            headers += "Content-Type: application/json\r\n";
        if (!headers.toLower().contains("host:"))
            headers += "Host: 127.0.0.1:" + QByteArray::number(m_port) + "\r\n";
        if (!key.isEmpty()) headers += "Authorization: Bearer " + key + "\r\n";
        return send(method + ' ' + path + " HTTP/1.1\r\n" + headers +
                    "Content-Length: " + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    }

    /// These bytes, whatever they are.
    Answer send(const QByteArray& bytes) {
        if (!connected()) return {};
        m_socket.write(bytes);
        return receive();
    }

    bool connected() {
        if (m_socket.state() == QAbstractSocket::ConnectedState) return true;
        m_socket.abort();
        m_socket.connectToHost(m_address, m_port);
        return m_socket.waitForConnected(patience);
    }

    Answer receive() {
        QByteArray bytes;
        for (;;) {
            const auto end = bytes.indexOf("\r\n\r\n");
            if (end >= 0) {
                Answer answer{0, bytes.first(end + 2).toLower(), bytes.mid(end + 4)};
                const auto at = answer.head.indexOf("content-length:") + 15;
                const auto length = answer.head.mid(at, answer.head.indexOf('\r', at) - at);
                if (answer.body.size() >= length.trimmed().toLongLong()) {
                    answer.status = answer.head.split(' ').value(1).toInt();
                    if (answer.head.contains("connection: close")) m_socket.abort();
                    return answer;
                }
            }
            if (m_socket.bytesAvailable() == 0 && !m_socket.waitForReadyRead(patience)) {
                m_socket.abort();
                return {};
            }
            bytes += m_socket.readAll();
        }
    }

    QTcpSocket& socket() { return m_socket; }

private:
    static constexpr int patience = 20'000; // milliseconds
    QString m_address;
    quint16 m_port;
    QTcpSocket m_socket;
};

/// Signs in through the server's own page as a browser and Murlo do. An ID token; empty if that
/// failed.
inline QByteArray signIn(HttpProbe& probe, const QByteArray& email = "someone@localhost") {
    const QByteArray client = "desktop.apps.murlo.local";
    const QByteArray redirect = "local.murlo.apps.desktop%3A%2Foauth2redirect";
    const QByteArray verifier(64, 'v');
    const QByteArray challenge =
        QCryptographicHash::hash(verifier, QCryptographicHash::Sha256)
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    const QByteArray query =
        "client_id=" + client + "&redirect_uri=" + redirect +
        "&response_type=code&scope=openid%20email&code_challenge=" + challenge +
        "&code_challenge_method=S256";
    const QByteArray form = "Content-Type: application/x-www-form-urlencoded\r\n";
    const auto between = [](const QByteArray& text, const QByteArray& before, char after) {
        const auto at = text.indexOf(before) + before.size();
        return text.mid(at, text.indexOf(after, at) - at);
    };
    const Answer page = probe.ask("GET", "/o/oauth2/v2/auth?" + query);
    const QByteArray token = between(page.body, "name=\"form_token\" value=\"", '"');
    const Answer signedIn = probe.ask("POST", "/o/oauth2/v2/auth",
                                      query + "&email=" + email.toPercentEncoding() +
                                          "&form_token=" + token.toPercentEncoding(),
                                      {}, form);
    const QByteArray code = between(signedIn.body, "?code=", '"');
    const Answer exchanged =
        probe.ask("POST", "/token",
                  "grant_type=authorization_code&client_id=" + client +
                      "&redirect_uri=" + redirect + "&code_verifier=" + verifier + "&code=" + code,
                  {}, form);
    return exchanged.json()[QStringLiteral("id_token")].toString().toUtf8();
}

/// The API key that an ID token gets; empty without one.
inline QByteArray signUp(HttpProbe& probe, const QByteArray& idToken) {
    return probe.ask("POST", "/signup", "{\"idToken\":\"" + idToken + "\"}")
        .json()[QStringLiteral("apiKey")]
        .toString()
        .toUtf8();
}

/// A good usage event with this number as its identity.
inline QByteArray usageEvent(qint64 number, const QByteArray& target = "org.example.Editor") {
    const QByteArray tail = QByteArray::number(number, 16).rightJustified(12, '0').toUpper();
    return "{\"id\":\"0A000000-0000-4000-8000-" + tail +
           "\",\"type\":\"dictation\",\"clientTs\":\"2026-11-16T20:28:18Z\",\"durationS\":2.5,"
           "\"wordCount\":7,\"appVersion\":\"1.0\",\"targetApp\":\"" +
           target + "\"}";
}

} // namespace murlo::backend
