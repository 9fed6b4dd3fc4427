#include "platform/linux/freedesktop/ListeningSockets.h"

#include <QHostAddress>
#include <QtEndian>

#include <array>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
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

bool isReachedFromHere(const inet_diag_msg& socket) {
    QHostAddress address;
    if (socket.idiag_family == AF_INET) {
        address.setAddress(qFromBigEndian(socket.id.idiag_src[0]));
    } else {
        Q_IPV6ADDR bytes;
        std::memcpy(bytes.c, socket.id.idiag_src, sizeof bytes.c);
        address.setAddress(bytes);
    }
    return address.isLoopback() || address == QHostAddress::AnyIPv4 ||
           address == QHostAddress::AnyIPv6;
}

/// Reads one datagram of the answer; true when more follow, nothing for an answer that is none.
std::optional<bool> readPart(int kernel, quint16 port, QList<uint>& owners) {
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
        if (socket.id.idiag_sport == qToBigEndian(port) && isReachedFromHere(socket))
            owners << socket.idiag_uid;
    }
    return true;
}

bool ask(int kernel, quint8 family, quint16 port, QList<uint>& owners) {
    const Question question = questionFor(family, port);
    if (::send(kernel, &question, sizeof question, 0) != sizeof question) return false;
    std::optional<bool> more = true;
    while (more.value_or(false)) more = readPart(kernel, port, owners);
    return more.has_value();
}

} // namespace

std::optional<QList<uint>> ownersOfListeners(quint16 port) {
    // The kernel answers before the sending returns, so that reading need not wait.
    const int kernel =
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG);
    if (kernel < 0) return std::nullopt;
    QList<uint> owners;
    const bool answered = ask(kernel, AF_INET, port, owners) && ask(kernel, AF_INET6, port, owners);
    ::close(kernel);
    if (!answered) return std::nullopt;
    return owners;
}

} // namespace murlo
