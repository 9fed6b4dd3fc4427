#pragma once

#include "platform/DiagnosticNotifications.h"

#include <QObject>

namespace murlo {

/// The notifications as signals on the session bus, of any sender and path:
///
///     dbus-send --session / murlo.diagnostics.snapshot
///
/// and `probe`, `im` likewise.
class DBusNotifications : public QObject, public DiagnosticNotifications {
    Q_OBJECT

public:
    void start() override;

private Q_SLOTS:
    void probe();
    void im();
    void snapshot();
};

} // namespace murlo
