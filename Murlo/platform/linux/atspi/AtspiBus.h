#pragma once

#include "AtspiTypes.h"
#include "Budgets.h"
#include "platform/Scheduler.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

#include <vector>

namespace murlo {

/// The connection to the accessibility bus: found through the session bus and reconnected when it
/// starts late or restarts. Every call is asynchronous with a timeout, and any number may be in
/// flight together. Main thread.
class AtspiBus : public QObject {
    Q_OBJECT
public:
    /// Events of other programs: the D-Bus signals to receive ("org.a11y.atspi.Event.Object",
    /// "StateChanged"; an empty field stands for any), and the names under which programs are asked
    /// to send them ("object:state-changed:focused").
    struct Event {
        QString interface;
        QString member;
        QString path;
        QString firstArgument;
        QStringList registryNames;
    };

    using Replies = std::vector<QDBusMessage>;

    /// Starts to look for the bus; `opened` is emitted once it is connected.
    explicit AtspiBus(Scheduler& scheduler);
    ~AtspiBus() override;

    /// Whether the desktop's accessibility is switched on (org.a11y.Status), as last reported.
    [[nodiscard]] bool isEnabled() const { return m_enabled; }
    [[nodiscard]] bool isOpen() const { return m_connection.isConnected(); }
    /// Switches the desktop's accessibility on; `isEnabled` changes once that was accepted.
    void enable();

    /// Sends all `calls` (at least one) at once and calls back with their replies, in the same
    /// order, when the last has arrived. When none arrives for `limit` milliseconds, the missing
    /// ones are errors. Calls back on a later turn of the event loop, never after this object is
    /// destroyed.
    void send(const std::vector<QDBusMessage>& calls, std::function<void(const Replies&)> done,
              int limit = budget::answerMilliseconds);
    /// One call by itself.
    void send(const QDBusMessage& call, std::function<void(const QDBusMessage&)> done,
              int limit = budget::answerMilliseconds);

    /// Delivers `event` from now on, also after a reconnection, to a slot of `receiver` that takes
    /// a QDBusMessage.
    void listen(const Event& event, QObject* receiver, const char* slot);

Q_SIGNALS:
    /// The bus is connected and events are delivered.
    void opened();
    /// The bus is gone; every reference to its objects is invalid.
    void closed();
    /// A program left the bus; references to its objects are invalid.
    void programLeft(const QString& service);

private Q_SLOTS:
    void onStatusChanged(const QDBusMessage& signal);
    void onOwnerChanged(const QString& name, const QString& oldOwner, const QString& newOwner);
    void onDisconnected();

private:
    struct Listener {
        Event event;
        QObject* receiver;
        QByteArray slot;
    };

    struct Batch;
    void watch(const std::shared_ptr<Batch>& batch);
    void sessionReady(const QDBusConnection& session);
    void readStatus();
    void findBus();
    void retryLater();
    void open(const QString& address);
    void busReady(const QDBusConnection& connection);
    void close();
    void connectListener(const Listener& listener);
    void registerEvent(const Event& event);

    Scheduler& m_scheduler;
    QDBusConnection m_session;
    QDBusConnection m_connection;
    QDBusServiceWatcher m_launcherWatcher;
    std::vector<Listener> m_listeners;
    bool m_enabled = false;
    bool m_opening = false;
    double m_retryDelay = 1;
    ScheduledWork m_retry;
    Lifetime m_lifetime;
};

} // namespace murlo
