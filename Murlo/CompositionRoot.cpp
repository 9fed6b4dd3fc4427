#include "CompositionRoot.h"

#include "hints/HintPanel.h"
#include "overlay/NonKeyPanel.h"

#include <QCoreApplication>

namespace murlo {

namespace {

AskScreens screensOf(const Platform& on) {
    return [&on] { return on.surfaces->screens(); };
}

} // namespace

CompositionRoot::CompositionRoot(Platform& on, const Paths& at, SerialQueue& disk,
                                 quint16 enginePort)
    : platform(on)
    , paths(at)
    , settings(paths, disk)
    , history(paths, *on.scheduler, disk)
    , settingsModel(settings, *on.loginItem)
    , account(settings)
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
    , server(
          enginePort, *on.scheduler, *on.processes, on.makeHttpClient,
          [this] { return settings.modelPath(); },
          [this] { return settings.text(SettingKey::language).value_or(QString()); })
    , http(on.makeHttpClient([&on](double seconds, Work work) {
        return on.scheduler->after(seconds, std::move(work));
    }))
    , targets(*on.accessibility)
    , inserter({*on.scheduler, *on.accessibility, *on.applications, *on.pasteboard,
                *on.keySynthesizer, settings})
    , delivery(*on.scheduler, settings, targets, inserter, history, usage, *on.applications)
    , keptRecording(paths, disk)
    , enhancer(*on.applications, *on.scheduler)
    , controller({*on.scheduler, settings, account, recorder, overlay, server, *http, targets,
                  delivery, keptRecording, enhancer, errors, *on.microphoneAuthorization,
                  *on.systemEvents, sounds})
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
