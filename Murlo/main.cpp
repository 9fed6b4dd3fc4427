#include "AppDelegate.h"
#include "CompositionRoot.h"
#include "platform/Platform.h"
#include "support/Log.h"
#include "support/Paths.h"

#include <QApplication>

#include <cstdio>

namespace {

constexpr quint16 enginePort = 8756;

/// Everything that lives between a started Qt and its end.
int run(QApplication& application) {
    murlo::Platform platform = murlo::loadPlatform();
    if (!platform.singleInstance->acquire(QApplication::arguments().mid(1))) return 0;
    const murlo::Paths paths = murlo::Paths::ofUser();
    murlo::Log::open(paths, *platform.scheduler);
    int status = 0;
    {
        murlo::CompositionRoot root(platform, paths, enginePort);
        murlo::AppDelegate delegate(root, [&application] { application.quit(); });
        delegate.didFinishLaunching();
        status = QApplication::exec();
        delegate.willTerminate();
    }
    murlo::Log::close();
    return status;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        std::fputs("murlo: needs an X11 desktop session: DISPLAY is not set.\n", stderr);
        return 1;
    }
    // Keys, clipboard and windows are the X server's, also in a session that offers Wayland
    // besides.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "xcb");
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("murlo"));
    QApplication::setApplicationDisplayName(QStringLiteral("Murlo"));
    QApplication::setApplicationVersion(QStringLiteral(MURLO_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);
    return run(application);
}
