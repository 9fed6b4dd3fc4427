#include "MurloBackend/Service.h"
#include "MurloBackend/support/Log.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>

#include <csignal>
#include <cstdio>
#include <pthread.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

using namespace murlo::backend;

namespace {

constexpr int usageFault = 2; ///< exit status: the command line or the configuration is wrong

/// SIGTERM and SIGINT as a descriptor that becomes readable; blocked for every thread started
/// later.
int stopSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// The socket that the service manager listens on for us; -1 without one.
int inheritedSocket() {
    return sd_listen_fds(1) == 1 ? SD_LISTEN_FDS_START : -1;
}

QString described(const Endpoint& end) {
    const bool isIPv6 = end.address.protocol() == QAbstractSocket::IPv6Protocol;
    return (isIPv6 ? QStringLiteral("http://[%1]:%2") : QStringLiteral("http://%1:%2"))
        .arg(end.address.toString())
        .arg(end.port);
}

/// Serves until a signal, or until it has been quiet for long enough.
int serve(const Configuration& configuration) {
    const int signals = stopSignals();
    const int socket = inheritedSocket();
    Service service(configuration, socket);
    const auto end = service.start();
    if (!end) {
        say(Severity::failure, end.error());
        return 1;
    }
    say(Severity::information, QStringLiteral("listening on %1").arg(described(*end)));
    sd_notify(0, "READY=1");

    QSocketNotifier stop(signals, QSocketNotifier::Read);
    QObject::connect(&stop, &QSocketNotifier::activated, &stop, [] { QCoreApplication::quit(); });
    QTimer quiet;
    QObject::connect(&quiet, &QTimer::timeout, &quiet, [&] {
        if (service.quietFor() < std::chrono::seconds(configuration.idleEnd)) return;
        say(Severity::information, QStringLiteral("nobody has asked for a while"));
        QCoreApplication::quit();
    });
    if (configuration.idleEnd > 0) quiet.start(std::chrono::seconds(1));
    QCoreApplication::exec();

    sd_notify(0, "STOPPING=1");
    service.stop();
    say(Severity::information, QStringLiteral("stopped"));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    umask(S_IRWXG | S_IRWXO);
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("murlo-backend"));
    QCoreApplication::setApplicationVersion(QStringLiteral(MURLO_VERSION));
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Murlo's server: accounts, settings, polishing, usage.\n\n"
                       "Reads /etc/murlo/murlo-backend.conf, then murlo/murlo-backend.conf in the "
                       "user's configuration folder, then --config, then every --set."));
    const QCommandLineOption config(QStringLiteral("config"),
                                    QStringLiteral("Read this file as well; it wins."),
                                    QStringLiteral("FILE"));
    const QCommandLineOption set(QStringLiteral("set"),
                                 QStringLiteral("Give a key of the configuration a value."),
                                 QStringLiteral("KEY=VALUE"));
    const QCommandLineOption check(
        QStringLiteral("check"), QStringLiteral("Check the configuration and end: status 0 or 2."));
    parser.addOptions({config, set, check});
    parser.addHelpOption();
    parser.addVersionOption();
    parser.process(application);

    const auto configuration =
        readConfiguration({usualConfigurationFiles(), parser.value(config), parser.values(set)});
    if (!configuration) {
        for (const QString& complaint : configuration.error()) say(Severity::failure, complaint);
        return usageFault;
    }
    if (parser.isSet(check)) {
        std::puts("The configuration is good.");
        return 0;
    }
    return serve(*configuration);
}
