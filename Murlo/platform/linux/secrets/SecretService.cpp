#include "platform/linux/secrets/SecretService.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QMap>
#include <QStringList>

#include <algorithm>
#include <libsecret/secret.h>

namespace murlo::SecretService {

namespace {

const QString secrets = QStringLiteral("org.freedesktop.secrets");
const QString wallet = QStringLiteral("org.kde.kwalletd5");
const QString root = QStringLiteral("/org/freedesktop/secrets");

/// The answer's arguments; empty when there is none.
QVariantList ask(const QString& service, const QString& path, const QString& interface,
                 const QString& method, const QVariantList& arguments = {}) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface, method);
    call.setArguments(arguments);
    const QDBusMessage reply =
        QDBusConnection::sessionBus().call(call, QDBus::Block, callLimitMilliseconds);
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments() : QVariantList();
}

QStringList namesOnBus(const QString& method) {
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    return ask(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method).value(0).toStringList();
}

/// Whether the service has this account's item, but locked.
bool itemIsLocked(const QString& service, const QString& account) {
    // The attributes by which QtKeychain files its items.
    const QMap<QString, QString> attributes{{QStringLiteral("server"), service},
                                            {QStringLiteral("user"), account}};
    QDBusArgument written;
    written.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QString>());
    for (auto pair = attributes.begin(); pair != attributes.end(); ++pair) {
        written.beginMapEntry();
        written << pair.key() << pair.value();
        written.endMapEntry();
    }
    written.endMap();
    const QVariantList found = ask(secrets, root, QStringLiteral("org.freedesktop.Secret.Service"),
                                   QStringLiteral("SearchItems"), {QVariant::fromValue(written)});
    // Two lists of paths: unlocked, locked.
    return !qdbus_cast<QList<QDBusObjectPath>>(found.value(1)).isEmpty();
}

bool defaultIsLocked() {
    const QVariantList alias = ask(secrets, root, QStringLiteral("org.freedesktop.Secret.Service"),
                                   QStringLiteral("ReadAlias"), {QStringLiteral("default")});
    const QString collection = qdbus_cast<QDBusObjectPath>(alias.value(0)).path();
    if (collection.size() <= 1) return false; // "/": there is none
    const QVariantList locked =
        ask(secrets, collection, QStringLiteral("org.freedesktop.DBus.Properties"),
            QStringLiteral("Get"),
            {QStringLiteral("org.freedesktop.Secret.Collection"), QStringLiteral("Locked")});
    return qdbus_cast<QDBusVariant>(locked.value(0)).variant().toBool();
}

} // namespace

bool hasBus() {
    return !namesOnBus(QStringLiteral("ListNames")).isEmpty();
}

bool isThere() {
    const auto isKeyring = [](const QString& name) { return name == secrets || name == wallet; };
    return std::ranges::any_of(namesOnBus(QStringLiteral("ListNames")), isKeyring) ||
           std::ranges::any_of(namesOnBus(QStringLiteral("ListActivatableNames")), isKeyring);
}

void prepareLibrary() {
    static QString& lastOwner = *new QString; // the thread may outlive what is destroyed at exit
    const QString bus = QStringLiteral("org.freedesktop.DBus");
    const QString owner = ask(bus, QStringLiteral("/org/freedesktop/DBus"), bus,
                              QStringLiteral("GetNameOwner"), {secrets})
                              .value(0)
                              .toString();
    if (std::exchange(lastOwner, owner) != owner) secret_service_disconnect();
    if (GDBusConnection* shared = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
        g_dbus_connection_set_exit_on_close(shared, FALSE);
        g_object_unref(shared);
    }
}

bool isLocked(const QString& service, const QString& account) {
    const QStringList running = namesOnBus(QStringLiteral("ListNames"));
    const bool isKde = qgetenv("XDG_CURRENT_DESKTOP").split(':').contains("KDE");
    if (!running.contains(secrets) || (isKde && running.contains(wallet))) return false;
    return itemIsLocked(service, account) || defaultIsLocked();
}

} // namespace murlo::SecretService
