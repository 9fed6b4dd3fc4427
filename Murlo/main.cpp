#include "AppDelegate.h"
#include "CompositionRoot.h"
#include "hints/ProbeReport.h"
#include "look/Look.h"
#include "look/Words.h"
#include "platform/Platform.h"
#include "screens/Screens.h"
#include "setup/Forgetting.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QApplication>
#include <QFile>
#include <QPalette>
#include <QStandardPaths>

#include <cstdio>

namespace {

/// Everything that lives while Qt's application object exists.
int run(QApplication& application) {
    murlo::Platform platform = murlo::loadPlatform();
    const murlo::Paths paths = murlo::Paths::ofUser();
    const auto disk = platform.scheduler->makeSerialQueue(QStringLiteral("murlo.disk"));
    murlo::Log::open(paths, *disk);
    using Start = murlo::SingleInstance::Start;
    const Start start = platform.singleInstance->acquire(QApplication::arguments().mid(1));
    if (start == Start::unanswered)
        murlo::Log::write(QStringLiteral("app: another Murlo runs and does not answer"));
    if (start != Start::first) {
        murlo::Log::close();
        return start == Start::handedOver ? 0 : 1;
    }
    int status = 0;
    {
        murlo::CompositionRoot root(platform, paths, *disk, murlo::WhisperServer::usualPort,
                                    murlo::BackendConfig::read(murlo::BackendConfig::usualFiles()));
        murlo::AppDelegate delegate(root, [] { QApplication::quit(); });
        QObject::connect(
            &application, &QGuiApplication::commitDataRequest, &application,
            [&delegate] { delegate.quitRule().sessionEnds(); }, Qt::DirectConnection);
        delegate.didFinishLaunching();
        status = QApplication::exec();
        delegate.willTerminate();
    }
    murlo::Log::close();
    return status;
}

/// Switches the desktop's accessibility on for now and, where the desktop remembers it,
/// for those that follow.
int enableAccessibility() {
    constexpr double limit = 5; // seconds
    constexpr double poll = 0.02;
    const murlo::Platform platform = murlo::loadPlatform();
    murlo::Accessibility& accessibility = *platform.accessibility;
    const double began = platform.scheduler->uptime();
    murlo::ScheduledWork waiting = platform.scheduler->every(poll, [&] {
        accessibility.requestTrust();
        const bool late = platform.scheduler->uptime() - began > limit;
        if (accessibility.isTrusted() || late) QCoreApplication::exit(late ? 1 : 0);
    });
    const int status = QCoreApplication::exec();
    if (status == 0)
        std::puts("Accessibility is on. Programs that were started before may need to be started "
                  "again.");
    else
        std::fputs("murlo: accessibility could not be switched on: the desktop has no "
                   "accessibility bus (package at-spi2-core).\n",
                   stderr);
    return status;
}

/// Prints what other applications report about their text boxes.
int probe() {
    constexpr double busLimit = 2; // seconds until the accessibility bus has been found, or not
    constexpr double poll = 0.02;
    const murlo::Platform platform = murlo::loadPlatform();
    murlo::ProbeReport report(
        *platform.accessibilityTree, *platform.applications, *platform.scheduler,
        [&platform] { return platform.surfaces->screens(); }, QCoreApplication::applicationPid());
    const double began = platform.scheduler->uptime();
    murlo::ScheduledWork waiting = platform.scheduler->every(poll, [&] {
        if (!platform.accessibility->isTrusted() && platform.scheduler->uptime() - began < busLimit)
            return;
        waiting.cancel();
        report.make([](const QString& text) {
            std::fputs(qPrintable(text), stdout);
            QCoreApplication::quit();
        });
    });
    return QCoreApplication::exec();
}

/// Asks, and then removes everything that this user has of Murlo.
int forget() {
    const murlo::Platform platform = murlo::loadPlatform();
    if (platform.singleInstance->acquire({QStringLiteral("--forget")}) !=
        murlo::SingleInstance::Start::first) {
        std::fputs("murlo: Murlo is running; please quit it first.\n", stderr);
        return 1;
    }
    const murlo::Paths paths = murlo::Paths::ofUser();
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    murlo::Forgetting forgetting(
        {*platform.secrets, *platform.urlScheme, *platform.loginItem, *platform.localService},
        paths, data + QStringLiteral("/murlo-backend"));
    std::puts("This removes what Murlo has of you on this computer, dictated texts, settings and "
              "speech models included:");
    for (const QString& line : forgetting.inventory()) std::printf("  %s\n", qPrintable(line));
    std::fputs("Go on? Write yes: ", stdout);
    std::fflush(stdout);
    QFile input;
    if (!input.open(stdin, QIODevice::ReadOnly) || input.readLine().trimmed() != "yes") {
        std::puts("Nothing was removed.");
        return 1;
    }
    int status = 0;
    forgetting.run(murlo::BackendConfig::read(murlo::BackendConfig::usualFiles()),
                   [&status](const QStringList& failures) {
                       for (const QString& failure : failures)
                           std::fprintf(stderr, "murlo: %s\n", qPrintable(failure));
                       status = failures.isEmpty() ? 0 : 1;
                       QCoreApplication::exit(status);
                   });
    QCoreApplication::exec();
    if (status == 0) std::puts("All of it is gone.");
    return status;
}

/// Murlo's windows are light on any desktop.
void forceLightAppearance() {
    QApplication::setStyle(QStringLiteral("Fusion"));
    QPalette light(QColor(239, 239, 242), QColor(246, 246, 248));
    light.setColor(QPalette::Highlight, murlo::Look::accent);
    light.setColor(QPalette::HighlightedText, Qt::white);
    QApplication::setPalette(light);
    QApplication::setFont(murlo::Look::font(murlo::Look::body));
}

/// Renders the screens instead of running; needs no display.
int snapshot(const QString& folder) {
    const auto written = murlo::renderScreens(folder);
    if (!written) {
        std::fprintf(stderr, "murlo: the pictures could not be written to %s\n",
                     qPrintable(folder));
        return 1;
    }
    std::printf("%d pictures\n", *written);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    // murlo --snapshot FOLDER, murlo --probe, murlo --forget, murlo --enable-accessibility
    const bool renders = argc == 3 && qstrcmp(argv[1], "--snapshot") == 0;
    if (renders) qputenv("QT_QPA_PLATFORM", "offscreen");
    if (!renders && qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fputs("murlo: needs an X11 desktop session: DISPLAY is not set.\n", stderr);
        return 1;
    }
    // Keys, clipboard and windows are the X server's, also in a session that offers Wayland
    // besides.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    murlo::Log::takeQtWarnings();
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("murlo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Murlo"));
    QApplication::setApplicationVersion(QStringLiteral(MURLO_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);
    murlo::Words::speak(QLocale::system());
    forceLightAppearance();
    if (QApplication::arguments().contains(QStringLiteral("--probe"))) return probe();
    if (QApplication::arguments().contains(QStringLiteral("--forget"))) return forget();
    if (QApplication::arguments().contains(QStringLiteral("--enable-accessibility")))
        return enableAccessibility();
    return renders ? snapshot(QString::fromLocal8Bit(argv[2])) : run(application);
}
