#include "AtspiCalls.h"

#include <QDBusError>
#include <QDBusMetaType>
#include <QDBusVariant>

namespace murlo {

QDBusArgument& operator<<(QDBusArgument& argument, const AtspiReference& reference) {
    argument.beginStructure();
    argument << reference.service << QDBusObjectPath(reference.path);
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, AtspiReference& reference) {
    QDBusObjectPath path;
    argument.beginStructure();
    argument >> reference.service >> path;
    argument.endStructure();
    reference.path = path.path();
    return argument;
}

namespace {

/// What `getMatches` looks for, as the protocol writes it: (ai i a{ss} i ai i as i b).
struct MatchRule {
    QList<qint32> states;
    QList<qint32> roles;
};

// Ways in which a set of a rule is matched (AtspiCollectionMatchType).
constexpr qint32 matchAll = 1;
constexpr qint32 matchAny = 2;

QDBusArgument& operator<<(QDBusArgument& argument, const MatchRule& rule) {
    const bool anyRole = rule.roles.isEmpty();
    argument.beginStructure();
    argument << rule.states << matchAll;
    argument << QMap<QString, QString>() << matchAll;
    argument << rule.roles << (anyRole ? matchAll : matchAny);
    argument << QStringList() << matchAll << false;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, MatchRule&) {
    return argument;
}

QDBusMessage call(const AtspiReference& object, const char* interface, const char* method) {
    return QDBusMessage::createMethodCall(
        object.service, object.path, QLatin1String("org.a11y.atspi.") + QLatin1String(interface),
        QLatin1String(method));
}

/// The reply's only argument, or an invalid variant when the call failed.
QVariant argumentOf(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ReplyMessage) return {};
    return reply.arguments().value(0);
}

/// Reads a compound value whose D-Bus signature is `signature`.
template <typename Value>
std::optional<Value> compound(const QVariant& variant, const char* signature) {
    if (variant.metaType() != QMetaType::fromType<QDBusArgument>()) return std::nullopt;
    const auto argument = variant.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String(signature)) return std::nullopt;
    return qdbus_cast<Value>(argument);
}

QVariant propertyOf(const QDBusMessage& reply) {
    const auto value = argumentOf(reply);
    return value.metaType() == QMetaType::fromType<QDBusVariant>()
               ? value.value<QDBusVariant>().variant()
               : QVariant();
}

} // namespace

namespace atspi {

QDBusMessage getRole(const AtspiReference& object) {
    return call(object, "Accessible", "GetRole");
}

QDBusMessage getState(const AtspiReference& object) {
    return call(object, "Accessible", "GetState");
}

QDBusMessage getInterfaces(const AtspiReference& object) {
    return call(object, "Accessible", "GetInterfaces");
}

QDBusMessage getAttributes(const AtspiReference& object) {
    return call(object, "Accessible", "GetAttributes");
}

QDBusMessage getChildren(const AtspiReference& object) {
    return call(object, "Accessible", "GetChildren");
}

QDBusMessage getParent(const AtspiReference& object) {
    return getProperty(object.service, object.path, QStringLiteral("org.a11y.atspi.Accessible"),
                       QStringLiteral("Parent"));
}

QDBusMessage getChildCount(const AtspiReference& object) {
    return getProperty(object.service, object.path, QStringLiteral("org.a11y.atspi.Accessible"),
                       QStringLiteral("ChildCount"));
}

QDBusMessage getName(const AtspiReference& object) {
    return getProperty(object.service, object.path, QStringLiteral("org.a11y.atspi.Accessible"),
                       QStringLiteral("Name"));
}

QDBusMessage getExtents(const AtspiReference& object, Coordinates coordinates) {
    auto message = call(object, "Component", "GetExtents");
    message << static_cast<quint32>(coordinates);
    return message;
}

QDBusMessage grabFocus(const AtspiReference& object) {
    return call(object, "Component", "GrabFocus");
}

QDBusMessage getMatches(const AtspiReference& object, const AtspiStates& states,
                        const QList<AtspiRole>& roles, int limit) {
    static const auto registered = qDBusRegisterMetaType<MatchRule>();
    Q_UNUSED(registered)
    MatchRule rule{states.words(), {}};
    if (!roles.isEmpty()) {
        rule.roles.fill(0, 5); // a bit per role
        for (const auto role : roles) {
            auto& word = rule.roles[static_cast<int>(role) / 32];
            word =
                static_cast<qint32>(static_cast<quint32>(word) | 1U << static_cast<int>(role) % 32);
        }
    }
    constexpr quint32 canonicalOrder = 1;
    auto message = call(object, "Collection", "GetMatches");
    message << QVariant::fromValue(rule) << canonicalOrder << qint32(limit) << true;
    return message;
}

QDBusMessage getToolkitName(const QString& service) {
    return getProperty(service, rootPath, QStringLiteral("org.a11y.atspi.Application"),
                       QStringLiteral("ToolkitName"));
}

QDBusMessage getToolkitVersion(const QString& service) {
    return getProperty(service, rootPath, QStringLiteral("org.a11y.atspi.Application"),
                       QStringLiteral("Version"));
}

QDBusMessage getProcessId(const QString& service) {
    auto message = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
        QStringLiteral("org.freedesktop.DBus"), QStringLiteral("GetConnectionUnixProcessID"));
    message << service;
    return message;
}

QDBusMessage registerEvent(const QString& event) {
    auto message =
        QDBusMessage::createMethodCall(registryService, QStringLiteral("/org/a11y/atspi/registry"),
                                       registryService, QStringLiteral("RegisterEvent"));
    message << event;
    return message;
}

QDBusMessage getProperty(const QString& service, const QString& path, const QString& interface,
                         const QString& property) {
    auto message = QDBusMessage::createMethodCall(
        service, path, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    message << interface << property;
    return message;
}

bool isUnknown(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    const auto type = QDBusError(reply).type();
    // Qt reports an unknown object here.
    return type == QDBusError::UnknownMethod || type == QDBusError::UnknownInterface ||
           type == QDBusError::UnknownObject;
}

bool isUnsupported(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    const auto type = QDBusError(reply).type();
    return type == QDBusError::NotSupported || type == QDBusError::UnknownMethod ||
           type == QDBusError::UnknownInterface;
}

bool isTimeout(const QDBusMessage& reply) {
    if (reply.type() != QDBusMessage::ErrorMessage) return false;
    const auto type = QDBusError(reply).type();
    return type == QDBusError::NoReply || type == QDBusError::TimedOut ||
           type == QDBusError::Timeout;
}

bool tellsWindowExtentsOnly(const QString& toolkit, const QString& version) {
    return toolkit.toLower() == QLatin1String("gtk") && version.startsWith(QLatin1String("4."));
}

std::optional<AtspiRole> roleOf(const QDBusMessage& reply) {
    const auto number = numberOf(reply);
    return number ? std::optional(static_cast<AtspiRole>(*number)) : std::nullopt;
}

std::optional<AtspiStates> statesOf(const QDBusMessage& reply) {
    const auto words = compound<QList<quint32>>(argumentOf(reply), "au");
    if (!words) return std::nullopt;
    return AtspiStates(words->value(0), words->value(1));
}

QStringList stringsOf(const QDBusMessage& reply) {
    return argumentOf(reply).toStringList();
}

QHash<QString, QString> attributesOf(const QDBusMessage& reply) {
    return compound<QHash<QString, QString>>(argumentOf(reply), "a{ss}")
        .value_or(QHash<QString, QString>());
}

QList<AtspiReference> referencesOf(const QDBusMessage& reply) {
    return compound<QList<AtspiReference>>(argumentOf(reply), "a(so)")
        .value_or(QList<AtspiReference>());
}

std::optional<QRect> extentsOf(const QDBusMessage& reply) {
    return compound<QRect>(argumentOf(reply), "(iiii)");
}

std::optional<quint32> numberOf(const QDBusMessage& reply) {
    const auto value = argumentOf(reply);
    if (value.metaType() != QMetaType::fromType<quint32>()) return std::nullopt;
    return value.value<quint32>();
}

std::optional<int> numberPropertyOf(const QDBusMessage& reply) {
    bool isNumber = false;
    const int number = propertyOf(reply).toInt(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

QString stringPropertyOf(const QDBusMessage& reply) {
    return propertyOf(reply).toString();
}

AtspiReference referencePropertyOf(const QDBusMessage& reply) {
    return compound<AtspiReference>(propertyOf(reply), "(so)").value_or(AtspiReference());
}

AtspiReference referenceArgumentOf(const QDBusMessage& event, int index) {
    const auto value = event.arguments().value(index).value<QDBusVariant>().variant();
    return compound<AtspiReference>(value, "(so)").value_or(AtspiReference());
}

} // namespace atspi
} // namespace murlo
