#include "menubar/StatusItemController.h"

#include "dictation/DictationController.h"
#include "dictation/delivery/HistoryStore.h"
#include "look/BrandMark.h"
#include "look/Look.h"
#include "platform/Desktop.h"
#include "platform/Pasteboard.h"
#include "platform/Surfaces.h"
#include "settings/Settings.h"
#include "settings/SettingsModel.h"

#include <QCoreApplication>
#include <QGuiApplication>

namespace murlo {

void fillMenu(QMenu& menu, const QList<MenuEntry>& entries,
              const std::function<void(const MenuEntry&)>& perform) {
    for (const MenuEntry& entry : entries) {
        if (entry.isSeparator()) {
            menu.addSeparator();
            continue;
        }
        QString title = entry.title;
        title.replace(QLatin1Char('&'), QLatin1String("&&")); // no mnemonics in what was dictated
        if (!entry.submenu.isEmpty()) {
            fillMenu(*menu.addMenu(title), entry.submenu, perform);
            continue;
        }
        QAction* action = menu.addAction(title);
        action->setEnabled(entry.enabled);
        if (!entry.shortcut.isEmpty()) action->setShortcut(QKeySequence(entry.shortcut));
        QObject::connect(action, &QAction::triggered, &menu, [perform, entry] { perform(entry); });
    }
}

StatusItemController::StatusItemController(const Partners& partners)
    : m_with(partners) {
    connect(&m_menu, &QMenu::aboutToShow, this, &StatusItemController::menuNeedsUpdate);
    menuNeedsUpdate(); // some hosts request the menu before they open it
    apply({});
}

StatusItemController::~StatusItemController() = default;

void StatusItemController::show() {
    m_with.desktop.awaitTray(m_lifetime.guard([this] { makeItem(); }));
}

void StatusItemController::makeItem() {
    // Qt decides once per process, when the first item is made, which kind of tray it serves: an
    // item made before the tray is there might wait for the wrong kind for ever.
    m_item = std::make_unique<QSystemTrayIcon>(m_icon);
    m_item->setToolTip(QStringLiteral("Murlo"));
    m_item->setContextMenu(&m_menu);
    connect(m_item.get(), &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // Trays open the menu by the other button themselves.
                if (reason == QSystemTrayIcon::Trigger)
                    m_menu.popup(m_with.surfaces.pointer().value_or(geometry().center()));
            });
    m_item->show();
}

void StatusItemController::apply(const DictationState& state) {
    static const QIcon normal = brandIcon({});
    static const QIcon listening = brandIcon(Look::red);
    static const QIcon failed = brandIcon(Look::orange);
    const QIcon& icon = state.state == DictationState::listening ? listening
                        : state.state == DictationState::failed  ? failed
                                                                 : normal;
    if (m_icon.cacheKey() == icon.cacheKey()) return;
    m_icon = icon;
    if (m_item) m_item->setIcon(icon);
}

QList<MenuEntry> StatusItemController::entries() const {
    MenuInput input;
    input.dictation = m_with.controller.state().state;
    input.trigger = m_with.settings.trigger();
    input.engine = m_with.settingsModel.engineState();
    input.history = m_with.history.recent();
    if (const auto model = fasterModel ? fasterModel() : std::nullopt)
        input.fasterModel = ModelCatalog::displayName(model->file);
    if (setupMenuTitle) input.setupTitle = setupMenuTitle();
    input.hasSelfTest = static_cast<bool>(onSelfTest);
    input.logWanted = QGuiApplication::queryKeyboardModifiers().testFlag(Qt::AltModifier);
    input.version = QCoreApplication::applicationVersion();
    return menuEntries(input);
}

void StatusItemController::menuNeedsUpdate() {
    // Clearing a menu leaves its submenus alive.
    const auto submenus = m_menu.findChildren<QMenu*>(Qt::FindDirectChildrenOnly);
    m_menu.clear();
    qDeleteAll(submenus);
    fillMenu(m_menu, entries(), [this](const MenuEntry& entry) { perform(entry); });
}

void StatusItemController::perform(const MenuEntry& entry) {
    const auto call = [](const std::function<void()>& callback) {
        if (callback) callback();
    };
    switch (entry.command) {
    case MenuCommand::toggleDictation:
        return call(onToggleDictation);
    case MenuCommand::restartEngine:
        return call(onRestartEngine);
    case MenuCommand::takeFasterModel:
        return call(onTakeFasterModel);
    case MenuCommand::copyHistory:
        return copyHistory(entry.index);
    case MenuCommand::openSetup:
        return call(onOpenSetup);
    case MenuCommand::openSettings:
        return call(onOpenSettings);
    case MenuCommand::runSelfTest:
        return call(onSelfTest);
    case MenuCommand::openLog:
        return call(onOpenLog);
    case MenuCommand::quit:
        return call(onQuit);
    case MenuCommand::openUpdate:
    case MenuCommand::showVersion:
    case MenuCommand::none:
        break;
    }
}

void StatusItemController::copyHistory(int index) {
    const QStringList history = m_with.history.recent();
    if (index >= 0 && index < history.size()) m_with.pasteboard.setString(history[index]);
}

} // namespace murlo
