#include "platform/linux/freedesktop/RouteReachability.h"

#include <QFile>
#include <QRegularExpression>

#include <array>
#include <cerrno>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

namespace murlo {

namespace {

bool addsDefaultRoute(const nlmsghdr& message) {
    if (message.nlmsg_type != RTM_NEWROUTE || message.nlmsg_len < NLMSG_LENGTH(sizeof(rtmsg)))
        return false;
    const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(&message));
    return route->rtm_dst_len == 0 && route->rtm_type == RTN_UNICAST;
}

/// Whether a line of one of the kernel's tables is the default route of an interface.
bool hasLine(const QString& table, const QString& pattern) {
    QFile file(table);
    if (!file.open(QIODevice::ReadOnly)) return false;
    const QRegularExpression line(pattern, QRegularExpression::MultilineOption);
    return line.match(QString::fromLatin1(file.readAll())).hasMatch();
}

} // namespace

RouteReachability::~RouteReachability() {
    m_news.reset();
    if (m_kernel >= 0) ::close(m_kernel);
}

void RouteReachability::watch() {
    if (m_news) return;
    m_kernel = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = RTMGRP_IPV4_ROUTE | RTMGRP_IPV6_ROUTE;
    if (m_kernel < 0 ||
        ::bind(m_kernel, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return;
    m_news = std::make_unique<QSocketNotifier>(m_kernel, QSocketNotifier::Read);
    connect(m_news.get(), &QSocketNotifier::activated, this, &RouteReachability::read);
}

bool RouteReachability::isConnected() const {
    // IPv4: interface and destination. IPv6: destination and prefix length first, interface last;
    // "lo" has a default route that refuses.
    return hasLine(QStringLiteral("/proc/net/route"), QStringLiteral("^\\S+\\s+00000000\\s")) ||
           hasLine(QStringLiteral("/proc/net/ipv6_route"),
                   QStringLiteral("^0{32} 00 .*\\s(?!lo$)\\S+$"));
}

void RouteReachability::read() {
    alignas(nlmsghdr) std::array<char, 16384> bytes{};
    bool isNews = false;
    for (;;) {
        const ssize_t size = ::recv(m_kernel, bytes.data(), bytes.size(), 0);
        if (size < 0 && errno == ENOBUFS) { // there was more than the kernel keeps
            isNews = true;
            continue;
        }
        if (size <= 0) break;
        auto left = static_cast<unsigned>(size);
        for (auto* message = reinterpret_cast<nlmsghdr*>(bytes.data()); NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left))
            isNews = isNews || addsDefaultRoute(*message);
    }
    if (isNews) Q_EMIT cameBack();
}

} // namespace murlo
