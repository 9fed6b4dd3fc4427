#include "platform/linux/freedesktop/DBusNotifications.h"

#include <QDBusConnection>

namespace murlo {

void DBusNotifications::start() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString interface = QStringLiteral("murlo.diagnostics");
    bus.connect({}, {}, interface, QStringLiteral("probe"), this, SLOT(probe()));
    bus.connect({}, {}, interface, QStringLiteral("im"), this, SLOT(im()));
    bus.connect({}, {}, interface, QStringLiteral("snapshot"), this, SLOT(snapshot()));
}

void DBusNotifications::probe() {
    if (onProbe) onProbe();
}

void DBusNotifications::im() {
    if (onIm) onIm();
}

void DBusNotifications::snapshot() {
    if (onSnapshot) onSnapshot();
}

} // namespace murlo
