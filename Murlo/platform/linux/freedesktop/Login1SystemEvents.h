#pragma once

#include "platform/SystemEvents.h"
#include "platform/linux/threads/Bell.h"

#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QSocketNotifier>

#include <memory>

namespace murlo {

/// Sleep and power-off from login1 on the system bus, delayed by an inhibitor until the handlers
/// have run; SIGTERM, SIGINT and SIGHUP through an eventfd that the main event loop watches.
/// Without a system bus only the signals are reported.
class Login1SystemEvents : public QObject, public SystemEvents {
    Q_OBJECT

public:
    Login1SystemEvents();
    ~Login1SystemEvents() override;

    void start() override;

private Q_SLOTS:
    void prepareForSleep(bool beginning);
    void prepareForShutdown(bool beginning);

private:
    void takeInhibitor();
    void watchSignals();

    QDBusUnixFileDescriptor m_inhibitor;
    Bell m_bell; ///< outlives its notifier
    std::unique_ptr<QSocketNotifier> m_signals;
};

} // namespace murlo
