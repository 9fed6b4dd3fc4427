#include "AtspiBus.h"

#include "AtspiCalls.h"
#include "support/Log.h"

#include <QDBusPendingCallWatcher>
#include <QDBusVariant>

#include <atomic>

namespace murlo {

namespace {

const QString launcherService = QStringLiteral("org.a11y.Bus");
const QString launcherPath = QStringLiteral("/org/a11y/bus");
const QString statusInterface = QStringLiteral("org.a11y.Status");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString enabledProperty = QStringLiteral("IsEnabled");

// In milliseconds: D-Bus may have to start the launcher and the registry first.
constexpr int activationLimit = 10000;
// Seconds: retry intervals after the bus was lost, doubling from the first to the last; a launcher
// that (re)starts is noticed without polling.
constexpr double firstRetry = 1;
constexpr double lastRetry = 32;

QString newConnectionName() {
    static std::atomic<int> count;
    return QStringLiteral("murlo-accessibility-%1").arg(++count);
}

} // namespace

AtspiBus::AtspiBus(Scheduler& scheduler)
    : m_scheduler(scheduler)
    , m_session(QString())
    , m_connection(QString()) {
    // Connecting blocks until the bus daemon answers, so it runs off the main thread.
    m_scheduler.background(
        [&scheduler, ready = m_lifetime.guard(
                         [this](const QDBusConnection& bus) { sessionReady(bus); })]() mutable {
            scheduler.nextTurn(
                [ready, session = QDBusConnection::sessionBus()]() mutable { ready(session); });
        });
}

AtspiBus::~AtspiBus() {
    if (m_connection.isConnected()) QDBusConnection::disconnectFromBus(m_connection.name());
}

void AtspiBus::sessionReady(const QDBusConnection& session) {
    m_session = session;
    if (!m_session.isConnected()) {
        Log::write(QStringLiteral("accessibility: no session bus"));
        return;
    }
    // Match by path alone: with a service name Qt would block to look up its owner.
    m_session.connect(QString(), launcherPath, propertiesInterface,
                      QStringLiteral("PropertiesChanged"), this,
                      SLOT(onStatusChanged(QDBusMessage)));
    m_launcherWatcher.setConnection(m_session);
    m_launcherWatcher.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    m_launcherWatcher.addWatchedService(launcherService);
    connect(&m_launcherWatcher, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        m_retryDelay = firstRetry;
        readStatus();
        findBus();
    });
    readStatus();
    findBus();
}

void AtspiBus::readStatus() {
    auto* watcher = new QDBusPendingCallWatcher(
        m_session.asyncCall(
            atspi::getProperty(launcherService, launcherPath, statusInterface, enabledProperty),
            activationLimit),
        this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const auto value = watcher->reply().arguments().value(0);
        m_enabled = value.value<QDBusVariant>().variant().toBool();
    });
}

void AtspiBus::onStatusChanged(const QDBusMessage& signal) {
    const auto arguments = signal.arguments();
    if (arguments.value(0).toString() != statusInterface) return;
    const auto changed = qdbus_cast<QVariantMap>(arguments.value(1));
    if (const auto it = changed.find(enabledProperty); it != changed.end())
        m_enabled = it->toBool();
    else if (arguments.value(2).toStringList().contains(enabledProperty))
        readStatus();
    if (m_enabled && !isOpen()) findBus();
}

void AtspiBus::enable() {
    auto message = QDBusMessage::createMethodCall(launcherService, launcherPath,
                                                  propertiesInterface, QStringLiteral("Set"));
    message << statusInterface << enabledProperty << QVariant::fromValue(QDBusVariant(true));
    auto* watcher =
        new QDBusPendingCallWatcher(m_session.asyncCall(message, activationLimit), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (watcher->isError()) {
            Log::write(QStringLiteral("accessibility: could not be switched on: ") +
                       watcher->error().name());
            return;
        }
        m_enabled = true;
        findBus();
    });
}

void AtspiBus::findBus() {
    if (m_opening || isOpen() || !m_session.isConnected()) return;
    m_opening = true;
    m_retry.cancel();
    const auto message = QDBusMessage::createMethodCall(
        launcherService, launcherPath, launcherService, QStringLiteral("GetAddress"));
    auto* watcher =
        new QDBusPendingCallWatcher(m_session.asyncCall(message, activationLimit), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        const auto address = watcher->reply().arguments().value(0).toString();
        if (!watcher->isError() && !address.isEmpty()) {
            open(address);
            return;
        }
        m_opening = false;
        Log::write(QStringLiteral("accessibility: no bus: ") + watcher->error().name());
    });
}

void AtspiBus::retryLater() {
    m_retry = m_scheduler.after(m_retryDelay, [this] { findBus(); });
    m_retryDelay = std::min(2 * m_retryDelay, lastRetry);
}

void AtspiBus::open(const QString& address) {
    m_scheduler.background([&scheduler = m_scheduler, address,
                            ready = m_lifetime.guard(
                                [this](const QDBusConnection& bus) { busReady(bus); })]() mutable {
        const auto bus = QDBusConnection::connectToBus(address, newConnectionName());
        scheduler.nextTurn([ready, bus]() mutable { ready(bus); });
    });
}

void AtspiBus::busReady(const QDBusConnection& connection) {
    m_opening = false;
    m_connection = connection;
    if (!isOpen()) {
        close();
        retryLater();
        return;
    }
    m_retryDelay = firstRetry;
    m_connection.connect(QString(), QStringLiteral("/org/freedesktop/DBus/Local"),
                         QStringLiteral("org.freedesktop.DBus.Local"),
                         QStringLiteral("Disconnected"), this, SLOT(onDisconnected()));
    m_connection.connect(QStringLiteral("org.freedesktop.DBus"),
                         QStringLiteral("/org/freedesktop/DBus"),
                         QStringLiteral("org.freedesktop.DBus"), QStringLiteral("NameOwnerChanged"),
                         this, SLOT(onOwnerChanged(QString, QString, QString)));
    for (const auto& listener : m_listeners) {
        connectListener(listener);
        registerEvent(listener.event);
    }
    Log::write(QStringLiteral("accessibility: connected"));
    Q_EMIT opened();
}

void AtspiBus::close() {
    if (m_connection.name().isEmpty()) return;
    QDBusConnection::disconnectFromBus(m_connection.name());
    m_connection = QDBusConnection(QString());
    Q_EMIT closed();
}

void AtspiBus::onDisconnected() {
    Log::write(QStringLiteral("accessibility: the bus went away"));
    // The connection must not be closed from inside its own signal.
    m_scheduler.nextTurn(m_lifetime.guard([this] {
        close();
        retryLater();
    }));
}

void AtspiBus::onOwnerChanged(const QString& name, const QString& oldOwner,
                              const QString& newOwner) {
    // A restarted registry has lost the registrations.
    if (name == atspi::registryService && !oldOwner.isEmpty() && !newOwner.isEmpty())
        for (const auto& listener : m_listeners) registerEvent(listener.event);
    if (name.startsWith(QLatin1Char(':')) && newOwner.isEmpty() && !oldOwner.isEmpty())
        Q_EMIT programLeft(name);
}

void AtspiBus::listen(const Event& event, QObject* receiver, const char* slot) {
    m_listeners.push_back({event, receiver, slot});
    if (!isOpen()) return;
    connectListener(m_listeners.back());
    registerEvent(event);
}

void AtspiBus::connectListener(const Listener& listener) {
    const auto& event = listener.event;
    const auto arguments =
        event.firstArgument.isEmpty() ? QStringList() : QStringList(event.firstArgument);
    m_connection.connect(QString(), event.path, event.interface, event.member, arguments, QString(),
                         listener.receiver, listener.slot.constData());
}

void AtspiBus::registerEvent(const Event& event) {
    for (const auto& name : event.registryNames)
        send(
            atspi::registerEvent(name),
            [](const QDBusMessage& reply) {
                if (reply.type() == QDBusMessage::ErrorMessage)
                    Log::write(QStringLiteral("accessibility: no events: ") + reply.errorName());
            },
            activationLimit);
}

/// Calls that were sent together.
struct AtspiBus::Batch {
    Replies replies;
    std::function<void(const Replies&)> done;
    int limit = 0;
    std::size_t missing = 0;
    double lastReply = 0; ///< uptime
    std::vector<QDBusPendingCallWatcher*> watchers;
    ScheduledWork patience;

    void finish() {
        patience.cancel();
        missing = 0;
        // Moved out first, because the callback may send the next batch.
        std::exchange(done, nullptr)(replies);
    }
};

void AtspiBus::send(const std::vector<QDBusMessage>& calls,
                    std::function<void(const Replies&)> done, int limit) {
    // Qt's own timeout starts when a call is sent, so it must allow for a long queue of calls.
    constexpr int longest = 10000; // milliseconds
    const auto batch = std::make_shared<Batch>();
    batch->replies.resize(calls.size());
    batch->done = std::move(done);
    batch->limit = limit;
    batch->missing = calls.size();
    batch->lastReply = m_scheduler.uptime();
    batch->watchers.reserve(calls.size());
    for (size_t i = 0; i < calls.size(); ++i) {
        auto* watcher = new QDBusPendingCallWatcher(
            m_connection.asyncCall(calls[i], std::max(limit, longest)), this);
        batch->watchers.push_back(watcher);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, batch, i] {
            batch->watchers[i] = nullptr;
            batch->replies[i] = watcher->reply();
            batch->lastReply = m_scheduler.uptime();
            watcher->deleteLater();
            if (--batch->missing == 0) batch->finish();
        });
    }
    watch(batch);
}

void AtspiBus::watch(const std::shared_ptr<Batch>& batch) {
    const double left = batch->limit / 1000.0 - (m_scheduler.uptime() - batch->lastReply);
    if (left > 0) {
        batch->patience = m_scheduler.after(left, [this, weak = std::weak_ptr(batch)] {
            if (const auto waiting = weak.lock()) watch(waiting);
        });
        return;
    }
    for (std::size_t i = 0; i < batch->watchers.size(); ++i) {
        if (!batch->watchers[i]) continue;
        delete batch->watchers[i];
        batch->replies[i] = QDBusMessage::createError(QDBusError::NoReply, {});
    }
    batch->finish();
}

void AtspiBus::send(const QDBusMessage& call, std::function<void(const QDBusMessage&)> done,
                    int limit) {
    send(
        std::vector{call}, [done = std::move(done)](const Replies& replies) { done(replies[0]); },
        limit);
}

} // namespace murlo
