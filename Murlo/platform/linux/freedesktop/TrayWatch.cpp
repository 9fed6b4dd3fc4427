#include "platform/linux/freedesktop/TrayWatch.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace murlo {

namespace {

const QString service = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString path = QStringLiteral("/StatusNotifierWatcher");
constexpr int callLimitMilliseconds = 5000;

} // namespace

TrayWatch::TrayWatch() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    auto* arrivals =
        new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForRegistration, this);
    connect(arrivals, &QDBusServiceWatcher::serviceRegistered, this, &TrayWatch::ask);
    bus.connect(service, path, service, QStringLiteral("StatusNotifierHostRegistered"), this,
                SLOT(hostRegistered()));
    ask();
}

void TrayWatch::ask() {
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    call << service << QStringLiteral("IsStatusNotifierHostRegistered");
    call.setAutoStartService(false);
    auto* watcher = new QDBusPendingCallWatcher(
        QDBusConnection::sessionBus().asyncCall(call, callLimitMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const QDBusPendingReply<QDBusVariant> reply = *watcher;
        if (reply.isValid() && reply.value().variant().toBool()) hostRegistered();
    });
}

void TrayWatch::hostRegistered() {
    if (!std::exchange(m_seen, true) && onTray) onTray();
}

} // namespace murlo
