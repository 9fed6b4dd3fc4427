#include "platform/linux/freedesktop/Login1SystemEvents.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace murlo {

namespace {

const QString service = QStringLiteral("org.freedesktop.login1");
const QString path = QStringLiteral("/org/freedesktop/login1");
const QString interface = QStringLiteral("org.freedesktop.login1.Manager");
constexpr int callLimitMilliseconds = 5000;

/// Written by the signal handler and read by the main event loop through an eventfd: a handler may
/// make async-signal-safe calls only, such as write().
std::atomic<const Bell*> signalBell = nullptr;

extern "C" void tellMainLoop(int /*signal*/) {
    const int before = errno;
    if (const Bell* bell = signalBell) bell->ring();
    errno = before;
}

} // namespace

Login1SystemEvents::Login1SystemEvents() = default;

Login1SystemEvents::~Login1SystemEvents() {
    if (!m_signals) return;
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) std::signal(number, SIG_DFL);
    signalBell = nullptr;
}

void Login1SystemEvents::start() {
    watchSignals();
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) return;
    bus.connect(service, path, interface, QStringLiteral("PrepareForSleep"), this,
                SLOT(prepareForSleep(bool)));
    bus.connect(service, path, interface, QStringLiteral("PrepareForShutdown"), this,
                SLOT(prepareForShutdown(bool)));
    takeInhibitor();
}

void Login1SystemEvents::takeInhibitor() {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, interface, QStringLiteral("Inhibit"));
    call << QStringLiteral("sleep:shutdown") << QStringLiteral("Murlo")
         << QStringLiteral("Finishing the dictation") << QStringLiteral("delay");
    auto* watcher = new QDBusPendingCallWatcher(
        QDBusConnection::systemBus().asyncCall(call, callLimitMilliseconds), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = *watcher;
        if (reply.isValid()) m_inhibitor = reply.value();
        watcher->deleteLater();
    });
}

void Login1SystemEvents::prepareForSleep(bool beginning) {
    if (!beginning) {
        takeInhibitor();
        return;
    }
    if (onWillSleep) onWillSleep();
    m_inhibitor = {}; // closing the inhibitor lets the system proceed
}

void Login1SystemEvents::prepareForShutdown(bool beginning) {
    if (!beginning) {
        takeInhibitor();
        return;
    }
    if (onWillPowerOff) onWillPowerOff();
    m_inhibitor = {};
}

void Login1SystemEvents::watchSignals() {
    if (m_signals) return;
    signalBell = &m_bell;
    m_signals = std::make_unique<QSocketNotifier>(m_bell.descriptor(), QSocketNotifier::Read);
    connect(m_signals.get(), &QSocketNotifier::activated, this, [this] {
        m_bell.silence();
        if (onTerminationSignal) onTerminationSignal();
    });
    struct sigaction action {};
    action.sa_handler = tellMainLoop;
    action.sa_flags = SA_RESTART;
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaction(number, &action, nullptr);
}

} // namespace murlo
