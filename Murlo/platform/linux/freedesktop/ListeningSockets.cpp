#include "platform/linux/freedesktop/ListeningSockets.h"

#include <QFile>
#include <QtEndian>

#include <array>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <optional>
#include <sys/socket.h>
#include <unistd.h>

namespace murlo {

namespace {

constexpr quint32 listening = 1U << 10; // TCP_LISTEN among the states of a socket

struct Question {
    nlmsghdr header;
    inet_diag_req_v2 sockets;
};

Question questionFor(quint8 family, quint16 port) {
    Question question{};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    question.sockets.sdiag_family = family;
    question.sockets.sdiag_protocol = IPPROTO_TCP;
    question.sockets.idiag_states = listening;
    question.sockets.id.idiag_sport = qToBigEndian(port);
    return question;
}

QHostAddress addressOf(const inet_diag_msg& socket) {
    if (socket.idiag_family == AF_INET) return QHostAddress(qFromBigEndian(socket.id.idiag_src[0]));
    Q_IPV6ADDR bytes;
    std::memcpy(bytes.c, socket.id.idiag_src, sizeof bytes.c);
    return QHostAddress(bytes);
}

/// Reads one datagram of the answer; true when more follow, nothing for an answer that is none.
std::optional<bool> readPart(int kernel, quint16 port, QList<ListeningSocket>& sockets) {
    alignas(nlmsghdr) std::array<char, 16384> bytes{};
    const ssize_t size = ::recv(kernel, bytes.data(), bytes.size(), 0);
    if (size <= 0) return std::nullopt;
    auto left = static_cast<unsigned>(size);
    for (auto* message = reinterpret_cast<nlmsghdr*>(bytes.data()); NLMSG_OK(message, left);
         message = NLMSG_NEXT(message, left)) {
        if (message->nlmsg_type == NLMSG_DONE) return false;
        if (message->nlmsg_type != SOCK_DIAG_BY_FAMILY ||
            message->nlmsg_len < NLMSG_LENGTH(sizeof(inet_diag_msg)))
            return std::nullopt;
        inet_diag_msg socket{};
        std::memcpy(&socket, NLMSG_DATA(message), sizeof socket);
        if (socket.id.idiag_sport == qToBigEndian(port))
            sockets << ListeningSocket{addressOf(socket), socket.idiag_uid};
    }
    return true;
}

bool ask(int kernel, quint8 family, quint16 port, QList<ListeningSocket>& sockets) {
    const Question question = questionFor(family, port);
    if (::send(kernel, &question, sizeof question, 0) != sizeof question) return false;
    std::optional<bool> more = true;
    while (more.value_or(false)) more = readPart(kernel, port, sockets);
    return more.has_value();
}

/// An address as the text tables write it: numbers in hexadecimal, whose bytes in this machine's
/// memory are the address.
QHostAddress addressIn(const QByteArray& text) {
    std::array<quint32, 4> words{};
    const qsizetype count = text.size() / 8;
    if (count != 1 && count != 4) return {};
    for (qsizetype word = 0; word < count; ++word)
        words[static_cast<std::size_t>(word)] = text.mid(8 * word, 8).toUInt(nullptr, 16);
    if (count == 1) return QHostAddress(qFromBigEndian(words[0]));
    Q_IPV6ADDR bytes;
    std::memcpy(bytes.c, words.data(), sizeof bytes.c);
    return QHostAddress(bytes);
}

/// Columns of the tables: 1 local address, 3 state, 7 user.
void readTable(const QString& table, quint16 port, QList<ListeningSocket>& sockets) {
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) return;
    const QByteArray wanted = ':' + QByteArray::number(port, 16).rightJustified(4, '0').toUpper();
    const QList<QByteArray> lines = file.readAll().split('\n');
    for (const QByteArray& line : lines) {
        if (!line.contains(wanted)) continue;
        const QList<QByteArray> columns = line.simplified().split(' ');
        if (columns.size() < 10 || columns[3] != "0A" || !columns[1].endsWith(wanted)) continue;
        sockets << ListeningSocket{addressIn(columns[1].chopped(wanted.size())),
                                   columns[7].toUInt()};
    }
}

/// Nothing where the kernel does not answer such questions.
std::optional<QList<ListeningSocket>> askKernel(quint16 port) {
    // It answers before the sending returns, so that reading need not wait.
    const int kernel =
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG);
    if (kernel < 0) return std::nullopt;
    QList<ListeningSocket> sockets;
    const bool answered =
        ask(kernel, AF_INET, port, sockets) && ask(kernel, AF_INET6, port, sockets);
    ::close(kernel);
    if (!answered) return std::nullopt;
    return sockets;
}

} // namespace

bool ListeningSocket::accepts(const QHostAddress& wanted) const {
    if (address == QHostAddress::AnyIPv6) return true; // IPv4 too, unless its owner forbids that
    if (address.isEqual(QHostAddress::AnyIPv4, QHostAddress::ConvertV4MappedToIPv4))
        return wanted.protocol() == QAbstractSocket::IPv4Protocol;
    return address.isEqual(wanted, QHostAddress::ConvertV4MappedToIPv4);
}

QList<ListeningSocket> listeningSockets(quint16 port) {
    if (const auto sockets = askKernel(port)) return *sockets;
    return listeningSocketsInTables(QStringLiteral("/proc/net"), port);
}

QList<ListeningSocket> listeningSocketsInTables(const QString& folder, quint16 port) {
    QList<ListeningSocket> sockets;
    readTable(folder + QStringLiteral("/tcp"), port, sockets);
    readTable(folder + QStringLiteral("/tcp6"), port, sockets);
    return sockets;
}

} // namespace murlo
