#include "CompositionRoot.h"

#include "account/AccountHome.h"
#include "hints/HintPanel.h"
#include "overlay/NonKeyPanel.h"

#include <QCoreApplication>

namespace murlo {

namespace {

AskScreens screensOf(const Platform& on) {
    return [&on] { return on.surfaces->screens(); };
}

/// Puts the account that belongs to the configured backend into the settings.
Settings& settled(Settings& settings, const BackendConfig& config) {
    settleAccount(settings, config.address());
    return settings;
}

/// Whose key it is: without a usable backend, still that of the account in the settings, so that
/// Log Out removes it.
QString accountAddress(const Settings& settings, const BackendConfig& config) {
    return config.isUsable() ? config.address()
                             : settings.text(SettingKey::accountServer).value_or(QString());
}

} // namespace

CompositionRoot::CompositionRoot(Platform& on, const Paths& at, SerialQueue& disk,
                                 quint16 enginePort, BackendConfig servers)
    : platform(on)
    , paths(at)
    , config(std::move(servers))
    , settings(paths, disk)
    , history(paths, *on.scheduler, disk)
    , settingsModel(settings, *on.loginItem)
    , keys(*on.secrets, paths, disk, *on.scheduler, accountAddress(settings, config))
    , network(*on.network, *on.localService, *on.scheduler)
    , client({network, *on.scheduler}, config.baseURL, QCoreApplication::applicationVersion())
    , browser({*on.scheduler, *on.desktop, *on.urlScheme, *on.localService})
    , account({settled(settings, config), keys, client, browser, network, config, refusedKeys,
               errors, *on.reachability, *on.scheduler})
    , accountPresenter(account, keys, settingsModel, config)
    , permissions(*on.microphoneAuthorization, *on.accessibility, *on.eventTap)
    , hotkeys(*on.eventTap, settings)
    , overlay(*on.scheduler,
              [&on](OverlayModel& model) {
                  return std::make_unique<NonKeyPanel>(model, *on.scheduler, *on.desktop,
                                                       *on.surfaces);
              })
    , sounds(*on.sounds)
    , recorder(*on.scheduler, *on.audioInput, *on.microphoneAuthorization,
               [this](const QString& kind, const QString& detail) { errors.report(kind, detail); })
    , engineDevices(settings, paths, disk)
    , server(enginePort, *on.scheduler, *on.processes, on.makeHttpClient,
             {[this] { return settings.modelPath(); },
              [this] { return settings.text(SettingKey::language).value_or(QString()); },
              [this](const QString& model) { return engineDevices.deviceFor(model); },
              [this](const EngineDevice& device) { engineDevices.setAside(device); }})
    , pace(engineDevices, *on.scheduler)
    , http(on.makeHttpClient([&on](double seconds, Work work) {
        return on.scheduler->after(seconds, std::move(work));
    }))
    , targets(*on.accessibility)
    , inserter({*on.scheduler, *on.accessibility, *on.applications, *on.pasteboard,
                *on.keySynthesizer, settings})
    , delivery(*on.scheduler, settings, targets, inserter, history, usage, *on.applications)
    , keptRecording(paths, disk)
    , enhancer({settings, account, client, refusedKeys, *on.applications, *on.scheduler})
    , controller({*on.scheduler, settings, recorder, overlay, server, pace, *http, targets,
                  delivery, keptRecording, enhancer, errors, *on.microphoneAuthorization,
                  *on.systemEvents, sounds})
    , engineTuner({*on.scheduler, *on.processes, server, engineDevices, controller})
    , modelDownload({*on.scheduler, on.makeHttpClient, *on.files, *on.reachability}, paths,
                    config.modelRepository)
    , enginePresenter(
          {*on.scheduler, settingsModel, engineDevices, server, modelDownload, *on.files, paths})
    , callout(*on.scheduler, settings, *on.surfaces)
    , scanner(*on.accessibilityTree, *on.applications, *on.scheduler, screensOf(on),
              QCoreApplication::applicationPid())
    , hintOverlay(
          *on.scheduler, screensOf(on),
          [&on](HintOverlayModel& model, const ScreenInfo& screen, const QList<HintBadge>& badges) {
              return std::make_unique<HintPanel>(model, screen, badges, *on.scheduler, *on.desktop,
                                                 *on.surfaces);
          })
    , hints(*on.scheduler, *on.accessibility, targets, scanner, *on.interruptions, hintOverlay)
    , probe(*on.accessibilityTree, *on.applications, *on.scheduler, screensOf(on),
            QCoreApplication::applicationPid()) {}

} // namespace murlo
