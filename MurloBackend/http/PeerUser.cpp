#include "PeerUser.h"

#include <QFile>
#include <QtEndian>

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace murlo::backend {

namespace {

bool isIPv4(const Endpoint& end) {
    return end.address.protocol() == QAbstractSocket::IPv4Protocol;
}

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

/// The question for one socket, as the kernel's socket diagnosis takes it.
struct Question {
    nlmsghdr header;
    inet_diag_req_v2 socket;
};

void writeAddress(const Endpoint& end, quint32 (&target)[4]) {
    if (isIPv4(end))
        target[0] = qToBigEndian(end.address.toIPv4Address());
    else
        std::memcpy(target, end.address.toIPv6Address().c, sizeof target);
}

Question questionFor(const Endpoint& peer, const Endpoint& own) {
    Question question{};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.header.nlmsg_flags = NLM_F_REQUEST;
    question.socket.sdiag_family = isIPv4(peer) ? AF_INET : AF_INET6;
    question.socket.sdiag_protocol = IPPROTO_TCP;
    question.socket.idiag_states = ~0U;
    question.socket.id.idiag_sport = qToBigEndian(peer.port);
    question.socket.id.idiag_dport = qToBigEndian(own.port);
    writeAddress(peer, question.socket.id.idiag_src);
    writeAddress(own, question.socket.id.idiag_dst);
    question.socket.id.idiag_cookie[0] = INET_DIAG_NOCOOKIE;
    question.socket.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return question;
}

/// What the kernel says about one socket.
struct Diagnosis {
    bool isAnswer = false; ///< whether it says anything
    std::optional<inet_diag_msg> socket = {};
};

Diagnosis diagnose(const Question& question) {
    const int kernel =
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG);
    if (kernel < 0) return {};
    std::array<char, 1024> answer{};
    // The kernel answers before the sending returns.
    const bool isSent = ::send(kernel, &question, sizeof question, 0) == sizeof question;
    const auto size = isSent ? ::recv(kernel, answer.data(), answer.size(), 0) : -1;
    ::close(kernel);
    nlmsghdr header{};
    if (size < static_cast<ssize_t>(sizeof header)) return {};
    std::memcpy(&header, answer.data(), sizeof header);
    const auto content = static_cast<std::size_t>(size) - sizeof header;
    if (header.nlmsg_type == NLMSG_ERROR && content >= sizeof(nlmsgerr)) {
        nlmsgerr error{};
        std::memcpy(&error, answer.data() + NLMSG_HDRLEN, sizeof error);
        return {error.error == -ENOENT, {}};
    }
    inet_diag_msg found{};
    if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY || content < sizeof found) return {};
    std::memcpy(&found, answer.data() + NLMSG_HDRLEN, sizeof found);
    return {true, found};
}

} // namespace

std::optional<uint> userInTable(const QByteArray& table, const Endpoint& peer,
                                const Endpoint& own) {
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
    const Question question = questionFor(peer, own);
    if (const Diagnosis diagnosis = diagnose(question); diagnosis.isAnswer) {
        // With the connection gone, the kernel may answer with one that listens at the same end.
        const auto& found = diagnosis.socket;
        const bool isIt = found && found->id.idiag_sport == question.socket.id.idiag_sport &&
                          found->id.idiag_dport == question.socket.id.idiag_dport &&
                          found->idiag_inode != 0;
        return isIt ? std::optional<uint>(found->idiag_uid) : std::nullopt;
    }
    QFile file(isIPv4(peer) ? QStringLiteral("/proc/net/tcp") : QStringLiteral("/proc/net/tcp6"));
    if (!file.open(QIODevice::ReadOnly)) return std::nullopt;
    return userInTable(file.readAll(), peer, own);
}

} // namespace murlo::backend
