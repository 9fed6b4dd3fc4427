#include "LocalGuard.h"

#include "MurloBackend/http/Replies.h"

#include <QFile>
#include <QtEndian>

#include <algorithm>

namespace murlo::backend {

namespace {

/// An end as the kernel's tables write it: each 32-bit word of the address as a number of this
/// machine, then the port, all hexadecimal.
QByteArray tableForm(const Endpoint& end) {
    const auto word = [](quint32 networkOrder) {
        return QByteArray::number(networkOrder, 16).rightJustified(8, '0').toUpper();
    };
    QByteArray text;
    if (end.address.protocol() == QAbstractSocket::IPv4Protocol) {
        text = word(qToBigEndian(end.address.toIPv4Address()));
    } else {
        const Q_IPV6ADDR address = end.address.toIPv6Address();
        for (int at = 0; at < 16; at += 4) text += word(qFromUnaligned<quint32>(address.c + at));
    }
    return text + ':' + QByteArray::number(end.port, 16).rightJustified(4, '0').toUpper();
}

/// "127.0.0.1:8757"; without the port where it is the scheme's own.
QList<QByteArray> hostForms(const QByteArray& name, quint16 port) {
    constexpr quint16 portOfHttp = 80;
    QList<QByteArray> forms{name + ':' + QByteArray::number(port)};
    if (port == portOfHttp) forms << name;
    return forms;
}

} // namespace

std::optional<uint> userOfPeer(const QByteArray& table, const Endpoint& peer, const Endpoint& own) {
    const QByteArray local = tableForm(peer);
    const QByteArray remote = tableForm(own);
    // Columns: number, local end, remote end, state, queues, timer, retransmissions, user,
    // timeouts, inode. A socket that its process has closed stays for a while without a user, and
    // reads as user 0 with inode 0.
    constexpr qsizetype userColumn = 7;
    constexpr qsizetype inodeColumn = 9;
    for (const QByteArray& line : table.split('\n')) {
        if (!line.contains(local)) continue;
        const auto columns = line.simplified().split(' ');
        if (columns.size() <= inodeColumn || columns[1] != local || columns[2] != remote) continue;
        bool isNumber = false;
        const uint user = columns[userColumn].toUInt(&isNumber);
        if (isNumber && columns[inodeColumn] != "0") return user;
    }
    return std::nullopt;
}

std::optional<uint> userOfPeer(const Endpoint& peer, const Endpoint& own) {
    const bool isIPv4 = peer.address.protocol() == QAbstractSocket::IPv4Protocol;
    QFile file(isIPv4 ? QStringLiteral("/proc/net/tcp") : QStringLiteral("/proc/net/tcp6"));
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return userOfPeer(file.readAll(), peer, own);
}

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
