// The one place that chooses adapters: those common to all sessions, and those of the session type.

#include "platform/Platform.h"
#include "platform/linux/X11Session.h"
#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/atspi/AtspiTree.h"
#include "platform/linux/freedesktop/DBusNotifications.h"
#include "platform/linux/freedesktop/Login1SystemEvents.h"
#include "platform/linux/freedesktop/OpenMicrophone.h"
#include "platform/linux/freedesktop/RouteReachability.h"
#include "platform/linux/freedesktop/SocketSingleInstance.h"
#include "platform/linux/freedesktop/UserBackend.h"
#include "platform/linux/freedesktop/XdgLoginItem.h"
#include "platform/linux/freedesktop/XdgUrlScheme.h"
#include "platform/linux/processes/QtProcessLauncher.h"
#include "platform/linux/pulse/PulseAudioInput.h"
#include "platform/linux/pulse/PulseSoundPlayer.h"
#include "platform/linux/qt/NetworkThreadClient.h"
#include "platform/linux/qt/QtFileSystem.h"
#include "platform/linux/qt/QtHttpClient.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/secrets/KeychainSecretStore.h"

#include <QCoreApplication>
#include <QStandardPaths>

namespace murlo {

namespace {

/// What the accessibility adapter needs from the window system.
AtspiWindows windowsOf(Applications& applications) {
    const auto content = [&applications](qint64 pid,
                                         const QString& title) -> std::optional<QRectF> {
        const auto window = windowOf(applications.windowsOnScreen(), pid, title);
        return window ? std::optional(window->content) : std::nullopt;
    };
    return {
        [&applications] { return applications.frontmostPid(); },
        [&applications](qint64 pid, const QString& title) { applications.activate(pid, title); },
        content,
        [&applications](qint64 pid, const QString& title, const QRectF& box) {
            return applications.click(pid, title, box);
        }};
}

/// Adds what an account needs.
void addAccount(Platform& platform) {
    using Location = QStandardPaths;
    platform.network = std::make_unique<NetworkThreadClient>(*platform.scheduler);
    platform.reachability = std::make_unique<RouteReachability>();
    platform.localService = std::make_unique<UserBackend>(
        *platform.scheduler, UserBackend::usualFolders(QCoreApplication::applicationDirPath()));
    platform.secrets = std::make_unique<KeychainSecretStore>(*platform.scheduler);
    platform.urlScheme =
        std::make_unique<XdgUrlScheme>(Location::writableLocation(Location::GenericDataLocation),
                                       Location::writableLocation(Location::GenericConfigLocation),
                                       QCoreApplication::applicationFilePath());
}

/// Adds the adapters that are the same in every type of session.
void addCommon(Platform& platform) {
    using Location = QStandardPaths;
    platform.scheduler = std::make_unique<QtScheduler>();
    platform.singleInstance = std::make_unique<SocketSingleInstance>(
        Location::writableLocation(Location::RuntimeLocation));
    platform.systemEvents = std::make_unique<Login1SystemEvents>();
    platform.processes = std::make_unique<QtProcessLauncher>(
        QtProcessLauncher::installedResources(QCoreApplication::applicationDirPath()));
    platform.files = std::make_unique<QtFileSystem>();
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
    platform.diagnostics = std::make_unique<DBusNotifications>();
}

/// The accessibility bus, with the windows of the session.
void addAccessibility(Platform& platform) {
    Applications& applications = *platform.applications;
    auto accessibility =
        std::make_unique<AtspiAccessibility>(*platform.scheduler, windowsOf(applications));
    AtspiAccessibility* focus = accessibility.get();
    platform.accessibility = std::move(accessibility);
    platform.accessibilityTree = std::make_unique<AtspiTree>(
        focus->bus(), *focus, [&applications] { return applications.windowsOnScreen(); });
}

} // namespace

Platform loadPlatform() {
    Platform platform;
    addCommon(platform);
    addAccount(platform);
    addX11Session(platform);
    addAccessibility(platform);
    return platform;
}

} // namespace murlo
