// The one place that knows the adapters by name.

#include "platform/Platform.h"
#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/atspi/AtspiTree.h"
#include "platform/linux/freedesktop/DBusNotifications.h"
#include "platform/linux/freedesktop/Login1SystemEvents.h"
#include "platform/linux/freedesktop/OpenMicrophone.h"
#include "platform/linux/freedesktop/SocketSingleInstance.h"
#include "platform/linux/freedesktop/XdgLoginItem.h"
#include "platform/linux/processes/QtProcessLauncher.h"
#include "platform/linux/pulse/PulseAudioInput.h"
#include "platform/linux/pulse/PulseSoundPlayer.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/x11/clipboard/X11Pasteboard.h"
#include "platform/linux/x11/keys/X11EventTap.h"
#include "platform/linux/x11/typing/X11KeySynthesizer.h"
#include "platform/linux/x11/windows/X11Applications.h"
#include "platform/linux/x11/windows/X11Desktop.h"
#include "platform/linux/x11/windows/X11Interruptions.h"

#include <QCoreApplication>
#include <QStandardPaths>

namespace murlo {

Platform loadPlatform() {
    using Location = QStandardPaths;
    Platform platform;
    platform.scheduler = std::make_unique<QtScheduler>();
    platform.singleInstance = std::make_unique<SocketSingleInstance>(
        Location::writableLocation(Location::RuntimeLocation));
    platform.systemEvents = std::make_unique<Login1SystemEvents>();
    platform.processes = std::make_unique<QtProcessLauncher>(
        QtProcessLauncher::installedResources(QCoreApplication::applicationDirPath()));
    platform.makeHttpClient = [](Delay delay) {
        return std::make_unique<QtHttpClient>(std::move(delay));
    };
    platform.microphoneAuthorization = std::make_unique<OpenMicrophone>(*platform.scheduler);
    const auto sound = std::make_shared<PulseConnection>();
    platform.audioInput = std::make_unique<PulseAudioInput>(*platform.scheduler, sound);
    platform.sounds = std::make_unique<PulseSoundPlayer>(sound);
    platform.loginItem =
        std::make_unique<XdgLoginItem>(Location::writableLocation(Location::GenericConfigLocation),
                                       QCoreApplication::applicationFilePath());
    auto applications = std::make_unique<X11Applications>(*platform.scheduler);
    X11Applications* windows = applications.get();
    platform.applications = std::move(applications);
    const auto content = [windows](qint64 pid, const QString& title) -> std::optional<QRectF> {
        std::optional<QRectF> first;
        for (const WindowInfo& window : windows->windowsOnScreen()) {
            if (window.pid == pid && window.title == title) return window.content;
            if (window.pid == pid && !first) first = window.content;
        }
        return first;
    };
    auto accessibility = std::make_unique<AtspiAccessibility>(
        *platform.scheduler,
        AtspiWindows{[windows] { return windows->frontmostPid(); },
                     [windows](qint64 pid, const QString& title) { windows->activate(pid, title); },
                     content,
                     [windows](qint64 pid, const QString& title, const QRectF& box) {
                         return windows->click(pid, title, box);
                     }});
    AtspiAccessibility* focus = accessibility.get();
    platform.accessibility = std::move(accessibility);
    platform.accessibilityTree = std::make_unique<AtspiTree>(
        focus->bus(), *focus, [windows] { return windows->windowsOnScreen(); });
    const auto synthetic = std::make_shared<SyntheticKeys>();
    platform.eventTap = std::make_unique<X11EventTap>(synthetic);
    platform.keySynthesizer = std::make_unique<X11KeySynthesizer>(synthetic);
    platform.pasteboard = std::make_unique<X11Pasteboard>();
    platform.desktop = std::make_unique<X11Desktop>();
    platform.interruptions = std::make_unique<X11Interruptions>();
    platform.diagnostics = std::make_unique<DBusNotifications>();
    return platform;
}

} // namespace murlo
