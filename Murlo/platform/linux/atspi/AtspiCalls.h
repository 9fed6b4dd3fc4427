#pragma once

#include "AtspiTypes.h"

#include <QDBusMessage>
#include <QHash>

/// Builds the AT-SPI calls that are used here as D-Bus messages, and parses their replies. An error
/// or a reply of another type yields an absent or empty value.
namespace murlo::atspi {

/// Coordinate systems of `getExtents` (AtspiCoordType).
enum class Coordinates : quint32 { screen = 0, window = 1 };

inline const QString registryService = QStringLiteral("org.a11y.atspi.Registry");
inline const QString rootPath = QStringLiteral("/org/a11y/atspi/accessible/root");
inline const QString editableTextInterface = QStringLiteral("org.a11y.atspi.EditableText");
inline const QString textInterface = QStringLiteral("org.a11y.atspi.Text");

[[nodiscard]] QDBusMessage getRole(const AtspiReference& object);
[[nodiscard]] QDBusMessage getState(const AtspiReference& object);
[[nodiscard]] QDBusMessage getInterfaces(const AtspiReference& object);
[[nodiscard]] QDBusMessage getAttributes(const AtspiReference& object);
[[nodiscard]] QDBusMessage getChildren(const AtspiReference& object);
[[nodiscard]] QDBusMessage getParent(const AtspiReference& object);
[[nodiscard]] QDBusMessage getChildCount(const AtspiReference& object);
[[nodiscard]] QDBusMessage getName(const AtspiReference& object);
[[nodiscard]] QDBusMessage getExtents(const AtspiReference& object, Coordinates coordinates);
[[nodiscard]] QDBusMessage grabFocus(const AtspiReference& object);
/// The descendants of `object` that have all of `states` and, unless `roles` is empty, one of
/// `roles`; at most `limit` of them, 0 for all. Not every toolkit answers.
[[nodiscard]] QDBusMessage getMatches(const AtspiReference& object, const AtspiStates& states,
                                      const QList<AtspiRole>& roles, int limit);
[[nodiscard]] QDBusMessage getToolkitName(const QString& service);
[[nodiscard]] QDBusMessage getToolkitVersion(const QString& service);
/// Process of a bus name; answered by the bus daemon.
[[nodiscard]] QDBusMessage getProcessId(const QString& service);
/// Asks the registry to have programs send an event ("object:state-changed:focused").
[[nodiscard]] QDBusMessage registerEvent(const QString& event);

[[nodiscard]] QDBusMessage getProperty(const QString& service, const QString& path,
                                       const QString& interface, const QString& property);

/// Whether the object does not have the method or interface that was called.
[[nodiscard]] bool isUnknown(const QDBusMessage& reply);
/// Whether the toolkit does not support the call.
[[nodiscard]] bool isUnsupported(const QDBusMessage& reply);
/// Whether no answer came in time.
[[nodiscard]] bool isTimeout(const QDBusMessage& reply);
/// Whether a toolkit does not know the screen position of its windows: GTK 4 reports (0, 0).
[[nodiscard]] bool tellsWindowExtentsOnly(const QString& toolkit, const QString& version);
[[nodiscard]] std::optional<AtspiRole> roleOf(const QDBusMessage& reply);
[[nodiscard]] std::optional<AtspiStates> statesOf(const QDBusMessage& reply);
[[nodiscard]] QStringList stringsOf(const QDBusMessage& reply);
[[nodiscard]] QHash<QString, QString> attributesOf(const QDBusMessage& reply);
[[nodiscard]] QList<AtspiReference> referencesOf(const QDBusMessage& reply);
[[nodiscard]] std::optional<QRect> extentsOf(const QDBusMessage& reply);
[[nodiscard]] std::optional<quint32> numberOf(const QDBusMessage& reply);
/// Parses a property's value, the reply to `getProperty`.
[[nodiscard]] std::optional<int> numberPropertyOf(const QDBusMessage& reply);
[[nodiscard]] QString stringPropertyOf(const QDBusMessage& reply);
[[nodiscard]] AtspiReference referencePropertyOf(const QDBusMessage& reply);
/// Parses an argument of an event, which may be wrapped in a variant.
[[nodiscard]] AtspiReference referenceArgumentOf(const QDBusMessage& event, int index);

} // namespace murlo::atspi
