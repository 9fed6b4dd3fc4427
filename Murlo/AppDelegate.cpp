#include "AppDelegate.h"

#include "CompositionRoot.h"
#include "screens/Screens.h"
#include "support/Log.h"
#include "support/PrivateFile.h"

#include <QCoreApplication>

namespace murlo {

namespace {
constexpr double warmUpDelay = 0.5; // seconds after the launch, which has settled by then
} // namespace

AppDelegate::AppDelegate(CompositionRoot& root, std::function<void()> quit)
    : m_root(root)
    , m_settingsWindow(windowActions())
    , m_quitRule({*root.platform.scheduler, root.settings, [this] { closeDoors(); },
                  [&root](std::function<void()> idle) { root.inserter.whenIdle(std::move(idle)); },
                  [&root](std::function<void()> written) { // a key that was taken back must be gone
                      root.keys.whenWritten(std::move(written));
                  },
                  std::move(quit)})
    , m_permissionWatch(*root.platform.scheduler, root.permissions, root.hotkeys) {
    QObject::connect(&m_permissionWatch, &PermissionWatch::changed, &m_context,
                     [this] { publishHotkeyState(); });
}

AppDelegate::~AppDelegate() {
    delete m_engineWindow.data();
    willTerminate();
}

void AppDelegate::didFinishLaunching() {
    Log::write(QStringLiteral("app: launching from ") + QCoreApplication::applicationFilePath());
    Log::write(QStringLiteral("permissions: ") + m_root.permissions.diagnostic());
    for (const QString& complaint : m_root.config.complaints)
        Log::write(QStringLiteral("config: ") + complaint);
    wireSystemEvents();
    wireHotkeys();
    wireStatusItem();
    wireSettings();
    wireAccount();
    wireController();
    m_root.server.start();
    m_root.engineTuner.begin();
    startHotkeys();
    listenForProbeRequests();
    m_warmUp = m_root.platform.scheduler->after(warmUpDelay, [this] { m_root.overlay.warmUp(); });
}

void AppDelegate::wireController() {
    const auto& controller = m_root.controller;
    QObject::connect(&controller, &DictationController::stateChanged, &m_context,
                     [this](const DictationState& state) {
                         statusItem().apply(state);
                         m_settingsWindow.refresh();
                     });
    QObject::connect(
        &controller, &DictationController::engineStateChanged, &m_context,
        [this](const EngineState& state) { m_root.settingsModel.setEngineState(state); });
    QObject::connect(&m_root.settingsModel, &SettingsModel::changed, &m_context,
                     [this] { m_settingsWindow.refresh(); });
}

StatusItemController& AppDelegate::statusItem() {
    if (!m_statusItem) {
        m_statusItem = std::make_unique<StatusItemController>(StatusItemController::Partners{
            m_root.controller, m_root.history, m_root.settings, m_root.settingsModel,
            *m_root.platform.pasteboard, *m_root.platform.desktop, *m_root.platform.surfaces});
    }
    return *m_statusItem;
}

void AppDelegate::wireStatusItem() {
    StatusItemController& item = statusItem();
    item.onToggleDictation = [this] { toggleDictation(); };
    item.onOpenSettings = [this] { m_settingsWindow.showSettings(); };
    item.fasterModel = [this] { return m_root.enginePresenter.fasterModel(); };
    item.onTakeFasterModel = [this] {
        m_root.enginePresenter.takeFasterModel();
        showModels(); // where the download is seen
    };
    item.onRestartEngine = [this] { m_root.server.restart(); };
    item.onOpenLog = [this] { openLog(); };
    item.onQuit = [this] { m_quitRule.requested(); };
    item.show();
}

SettingsWindowActions AppDelegate::windowActions() {
    return {[this] { return statusItem().entries(); },
            [this](const MenuEntry& entry) { statusItem().perform(entry); },
            [this] { return m_root.history.recent(); },
            [this] { return m_root.settingsModel.hotkeyLive(); },
            [this] { openLog(); },
            [this] {
                m_root.settingsModel.refreshFromSystem();
                m_root.accountPresenter.shown();
            },
            {[this] { return m_root.accountPresenter.record(); },
             [this] { m_root.accountPresenter.press(); },
             [this](bool on) { m_root.accountPresenter.setEnhance(on); }},
            [this] { showModels(); }};
}

void AppDelegate::showModels() {
    if (!m_engineWindow) {
        EnginePresenter& presenter = m_root.enginePresenter;
        m_engineWindow =
            new EngineWindow({[&presenter] { return presenter.record(); },
                              [&presenter](const QString& path) { presenter.choose(path); },
                              [&presenter](const ModelRow& row) { presenter.act(row); },
                              [&presenter](const QString& key) { presenter.chooseDevice(key); },
                              [&presenter] { presenter.tryAgain(); }});
        m_engineWindow->setAttribute(Qt::WA_DeleteOnClose);
        QObject::connect(&presenter, &EnginePresenter::changed, m_engineWindow,
                         &EngineWindow::refresh);
    }
    m_engineWindow->show();
    m_engineWindow->raise();
    m_engineWindow->activateWindow();
}

void AppDelegate::toggleDictation() {
    if (m_root.controller.isRecording())
        m_root.controller.finish();
    else
        m_root.controller.begin(false);
}

void AppDelegate::openLog() {
    const QString path = m_root.paths.file(QStringLiteral("brisvane.log"));
    m_root.platform.desktop->open(path, m_lifetime.guard([this, path](bool worked) {
        if (worked) return;
        m_root.overlay.show({DictationState::failed, {}, {Word::logNotOpened, {path}}});
    }));
}

void AppDelegate::listenForProbeRequests() {
    DiagnosticNotifications& notifications = *m_root.platform.diagnostics;
    notifications.onProbe = [this] {
        m_root.probe.make([this](const QString& report) {
            m_root.platform.scheduler->background(
                [path = m_root.paths.file(QStringLiteral("probe.txt")), report] {
                    const auto written = writePrivateFile(path, report.toUtf8());
                    Log::write(written
                                   ? QStringLiteral("probe: report written")
                                   : QStringLiteral("probe: the report could not be written: ") +
                                         written.error());
                });
        });
    };
    notifications.onIm = [this] {
        const auto access = [this] { return static_cast<int>(m_root.platform.eventTap->access()); };
        const int before = access();
        const bool granted = m_root.platform.eventTap->requestAccess();
        Log::write(
            QStringLiteral("im-probe: before=%1 request→%2 after=%3 (0=granted 1=denied 2=unknown)")
                .arg(before)
                .arg(granted ? QStringLiteral("true") : QStringLiteral("false"))
                .arg(access()));
    };
    notifications.onSnapshot = [this] {
        const auto written = renderScreens(m_root.paths.file(QStringLiteral("screens")));
        Log::write(written ? QStringLiteral("snapshot: %1 pictures written").arg(*written)
                           : QStringLiteral("snapshot: the pictures could not be written"));
    };
    notifications.start();
}

void AppDelegate::closeDoors() {
    m_root.platform.singleInstance->beginEnding();
    m_root.hints.cancel();
    m_root.hotkeys.stop();
}

void AppDelegate::wireHotkeys() {
    HotkeyMonitor& hotkeys = m_root.hotkeys;
    hotkeys.onDoubleTap = [this](HotkeyAction action) {
        carryOut(TriggerPolicy::onDoubleTap(action, phase()));
    };
    hotkeys.onTriggerUp = [this](HotkeyAction action, double held) {
        const double threshold = m_root.settings.number(SettingKey::holdThreshold);
        carryOut(TriggerPolicy::onRelease(action, held, threshold, phase()));
    };
    hotkeys.onEscape = [this] { m_root.controller.cancel(); };
    hotkeys.keyInterceptor = [this](const QString& characters, qint64 keyCode) {
        return m_root.hints.handleKey(characters, keyCode);
    };
    HintController& hints = m_root.hints;
    hints.onActiveChange = [&hotkeys](bool active) { hotkeys.setFiltering(active); };
    hints.onPick = [this](const InputTarget& target) {
        m_root.controller.startAfterTargetPicked(target);
    };
    hints.whenIdle = [this](std::function<void()> idle) {
        m_root.inserter.whenIdle(std::move(idle));
    };
    hints.onStatus = [this](const Message& message) {
        m_root.overlay.show({DictationState::failed, {}, message});
    };
}

void AppDelegate::wireSettings() {
    m_root.settingsModel.onEngineOptionChange = [this] { m_root.server.restart(); };
    m_root.settingsModel.onTriggerChange = [this] { m_root.hotkeys.reload(); };
}

void AppDelegate::wireAccount() {
    // Only a manual sign-out stops the keys; an account key that was revoked elsewhere does not.
    QObject::connect(&m_root.account, &AccountManager::signedIn, &m_context, [this] {
        startHotkeys();
        if (m_settingsWindow.isOpen()) m_settingsWindow.showSettings(); // back from the browser
    });
    QObject::connect(&m_root.browser, &BrowserSession::waitingChanged, &m_context,
                     [this] { showSignInNote(); });
    QObject::connect(&m_root.accountPresenter, &AccountPresenter::changed, &m_context,
                     [this] { m_settingsWindow.refresh(); });
    // Without an account the triggers are off: whoever starts Murlo is told, and can sign in.
    QObject::connect(&m_root.keys, &KeychainStore::loaded, &m_context, [this] {
        if (!m_root.account.isSignedIn()) m_settingsWindow.showSettings();
    });
    m_root.accountPresenter.onLogOut = [this] { logOut(); };
    m_root.keys.load();
}

void AppDelegate::showSignInNote() {
    if (!m_root.browser.isWaiting()) {
        if (!m_signInNote) return;
        m_signInNote->hide();
        m_signInNote.release()->deleteLater(); // it may be closing just now
        return;
    }
    m_signInNote = std::make_unique<SignInNote>(
        SignInNoteActions{[this] { m_root.browser.openAgain(); },
                          [this] {
                              m_root.platform.pasteboard->setString(
                                  m_root.browser.page().toString(QUrl::FullyEncoded));
                          },
                          [this] { m_root.account.cancelSignIn(); }});
    m_signInNote->showInCorner();
}

void AppDelegate::logOut() {
    if (m_root.controller.isRecording()) m_root.controller.finish();
    m_root.account.signOut();
    m_permissionWatch.stop();
    m_root.hotkeys.stop();
    publishHotkeyState();
}

void AppDelegate::wireSystemEvents() {
    SystemEvents& events = *m_root.platform.systemEvents;
    events.onTerminationSignal = [this] { m_quitRule.quit(); };
    events.onWillPowerOff = [this] { m_quitRule.sessionEnds(); };
    events.start();
    m_root.platform.singleInstance->onOpenedAgain = [this](const QStringList& arguments) {
        openedAgain(arguments);
    };
}

void AppDelegate::openedAgain(const QStringList& arguments) {
    // An answer from a browser shows no window, whether or not somebody waits for it.
    if (BrowserSession::isCallback(arguments.value(0), m_root.config.redirectURI()))
        m_root.browser.take(arguments[0]);
    else if (arguments.value(0) != QLatin1String("--forget")) // which ends by itself
        handleReopen();
}

void AppDelegate::startHotkeys() {
    if (!m_root.account.isSignedIn()) {
        Log::write(QStringLiteral("app: nobody is signed in, the triggers stay off"));
        return;
    }
    m_permissionWatch.start();
}

DictationPhase AppDelegate::phase() const {
    const DictationController& controller = m_root.controller;
    return {controller.state().state == DictationState::listening, controller.isRecording(),
            controller.startedByHotkey()};
}

void AppDelegate::carryOut(TriggerCommand command) {
    switch (command) {
    case TriggerCommand::none:
        return;
    case TriggerCommand::begin:
        m_root.hints.cancel();
        m_root.controller.begin(true);
        return;
    case TriggerCommand::finish:
        m_root.controller.finish();
        return;
    case TriggerCommand::chooseBox:
        m_root.hints.begin();
        return;
    }
}

void AppDelegate::publishHotkeyState() {
    m_root.settingsModel.advancePermissionsTick();
    m_root.settingsModel.setHotkeyLive(m_root.hotkeys.hasTap() && m_root.hotkeys.hasLiveTap());
}

void AppDelegate::handleReopen() {
    Log::write(QStringLiteral("app: opened again, already running"));
    m_settingsWindow.showSettings();
}

void AppDelegate::willTerminate() {
    if (std::exchange(m_terminated, true)) return;
    m_permissionWatch.stop();
    m_warmUp.cancel();
    m_quitRule.withdraw();
    m_root.platform.singleInstance->beginEnding();
    m_root.hints.cancel();
    m_settingsWindow.close();
    m_root.browser.cancel();
    m_root.hotkeys.stop();
    m_root.controller.keepUnfinished();
    m_root.server.shutdown();
    Log::write(QStringLiteral("app: terminated"));
}

} // namespace murlo
