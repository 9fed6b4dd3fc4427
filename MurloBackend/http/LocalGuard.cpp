#include "LocalGuard.h"

#include "MurloBackend/http/Replies.h"

namespace murlo::backend {

namespace {

/// "127.0.0.1:8757"; without the port where it is the scheme's own.
QList<QByteArray> hostForms(const QByteArray& name, quint16 port) {
    constexpr quint16 portOfHttp = 80;
    QList<QByteArray> forms{name + ':' + QByteArray::number(port)};
    if (port == portOfHttp) forms << name;
    return forms;
}

} // namespace

LocalGuard::LocalGuard(const Endpoint& own, uint user)
    : m_user(user) {
    QByteArray literal = own.address.toString().toLatin1();
    if (own.address.protocol() == QAbstractSocket::IPv6Protocol) literal = '[' + literal + ']';
    m_hosts = hostForms(literal, own.port) + hostForms("localhost", own.port);
    for (const QByteArray& host : m_hosts) m_origins << "http://" + host;
}

std::optional<Reply> LocalGuard::refusal(const Request& request,
                                         std::optional<uint> peerUser) const {
    if (peerUser != m_user) return problem(403, "another user's server");
    int hosts = 0;
    for (const auto& [name, value] : request.headers) {
        const bool isHost = name.compare("host", Qt::CaseInsensitive) == 0;
        hosts += isHost ? 1 : 0;
        if (isHost && !m_hosts.contains(value.toLower())) return problem(403, "foreign Host");
        if (name.compare("origin", Qt::CaseInsensitive) == 0 && !m_origins.contains(value))
            return problem(403, "foreign Origin");
    }
    if (hosts != 1) return problem(403, "one Host is needed");
    return std::nullopt;
}

} // namespace murlo::backend
