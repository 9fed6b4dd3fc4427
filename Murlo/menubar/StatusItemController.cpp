#include "menubar/StatusItemController.h"

#include "dictation/DictationController.h"
#include "look/Look.h"
#include "look/Symbols.h"
#include "platform/Desktop.h"
#include "platform/Pasteboard.h"
#include "settings/Settings.h"
#include "settings/SettingsModel.h"

#include <QCoreApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QPainter>

namespace murlo {

namespace {

QPixmap mark(int side, const QColor& tint) {
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    const QRectF square(0, 0, side, side);
    if (tint.isValid()) {
        drawSymbol(painter, Symbol::brand, square, tint);
        return pixmap;
    }
    // White with a dark rim: the tray does not tell how dark its panel is.
    const double rim = side / 20.0;
    for (const QPointF& shift :
         {QPointF(rim, 0), QPointF(-rim, 0), QPointF(0, rim), QPointF(0, -rim), QPointF(rim, rim),
          QPointF(-rim, -rim), QPointF(rim, -rim), QPointF(-rim, rim)})
        drawSymbol(painter, Symbol::brand, square.translated(shift), QColor(20, 20, 24, 150));
    drawSymbol(painter, Symbol::brand, square, Qt::white);
    return pixmap;
}

} // namespace

QIcon statusIcon(const QColor& tint) {
    QIcon icon;
    for (const int side : {16, 22, 24, 32, 44, 48}) icon.addPixmap(mark(side, tint));
    return icon;
}

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

StatusItemController::StatusItemController(Partners partners)
    : m_with(std::move(partners)) {
    m_item.setToolTip(QStringLiteral("Murlo"));
    m_item.setContextMenu(&m_menu);
    connect(&m_menu, &QMenu::aboutToShow, this, &StatusItemController::menuNeedsUpdate);
    connect(&m_item, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                // Trays open the menu by the other button themselves.
                if (reason == QSystemTrayIcon::Trigger) m_menu.popup(QCursor::pos());
            });
    menuNeedsUpdate(); // hosts that ask for the menu before they open it find one
    apply({});
}

StatusItemController::~StatusItemController() = default;

void StatusItemController::show() {
    m_item.show();
}

void StatusItemController::apply(const DictationState& state) {
    static const QIcon normal = statusIcon({});
    static const QIcon listening = statusIcon(Look::red);
    static const QIcon failed = statusIcon(Look::orange);
    const QIcon& icon = state.state == DictationState::listening ? listening
                        : state.state == DictationState::failed  ? failed
                                                                 : normal;
    if (m_item.icon().cacheKey() != icon.cacheKey()) m_item.setIcon(icon);
}

QList<MenuEntry> StatusItemController::entries() const {
    MenuInput input;
    input.dictation = m_with.controller.state().state;
    input.triggerLabel = label(m_with.settings.trigger());
    input.engine = m_with.settingsModel.engineState();
    input.history = m_with.controller.history();
    if (setupMenuTitle) input.setupTitle = setupMenuTitle();
    input.hasSelfTest = static_cast<bool>(onSelfTest);
    input.logWanted = QGuiApplication::queryKeyboardModifiers().testFlag(Qt::AltModifier);
    input.version = QCoreApplication::applicationVersion();
    return menuEntries(input);
}

void StatusItemController::menuNeedsUpdate() {
    m_menu.clear();
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
    case MenuCommand::copyHistory:
        return copyHistory(entry.index);
    case MenuCommand::openSetup:
        return call(onOpenSetup);
    case MenuCommand::openSettings:
        return call(onOpenSettings);
    case MenuCommand::runSelfTest:
        return call(onSelfTest);
    case MenuCommand::openLog:
        m_with.desktop.open(m_with.log);
        return;
    case MenuCommand::quit:
        return call(onQuit);
    case MenuCommand::openUpdate:
    case MenuCommand::none:
        break;
    }
}

void StatusItemController::copyHistory(int index) {
    const QStringList& history = m_with.controller.history();
    if (index >= 0 && index < history.size()) m_with.pasteboard.setString(history[index]);
}

} // namespace murlo
