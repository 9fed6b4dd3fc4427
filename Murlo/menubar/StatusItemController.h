#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/ModelCatalog.h"
#include "menubar/MenuEntries.h"
#include "platform/Scheduler.h"

#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

#include <functional>
#include <memory>

namespace murlo {

class Desktop;
class DictationController;
class Pasteboard;
class Settings;
class HistoryStore;
class SettingsModel;
class Surfaces;

/// The item in the desktop's tray, tinted by the state of the dictation, and its menu, which is
/// rebuilt each time it opens. Every command is a callback. Main thread.
class StatusItemController : public QObject {
    Q_OBJECT

public:
    std::function<void()> onToggleDictation; ///< "Start Dictation" or "Stop Dictation"
    std::function<void()> onOpenSettings;    ///< "Open Murlo…"
    std::function<void()> onRestartEngine;   ///< "Restart Engine"
    std::function<std::optional<SpeechModel>()> fasterModel; ///< no entry without one
    std::function<void()> onTakeFasterModel;
    std::function<void()> onSelfTest;        ///< no entry without it
    std::function<QString()> setupMenuTitle; ///< no entry without it
    std::function<void()> onOpenSetup;
    std::function<void()> onOpenLog;
    std::function<void()> onQuit;

    /// Who the menu reads from and acts on.
    struct Partners {
        const DictationController& controller;
        const HistoryStore& history;
        const Settings& settings;
        const SettingsModel& settingsModel; ///< for the engine's state
        Pasteboard& pasteboard;
        Desktop& desktop;
        const Surfaces& surfaces; ///< for the pointer
    };

    explicit StatusItemController(const Partners& partners);
    ~StatusItemController() override;

    /// Puts the item into the tray, now or as soon as there is one. It stays through restarts of
    /// the tray.
    void show();
    /// Tints the item: red while it listens, orange after a failure.
    void apply(const DictationState& state);
    /// Rebuilds the menu from the current state.
    void menuNeedsUpdate();

    /// The menu as records, as it would be now.
    [[nodiscard]] QList<MenuEntry> entries() const;
    /// Carries out an entry.
    void perform(const MenuEntry& entry);
    /// The item's place on the screen; empty if the tray does not report it.
    [[nodiscard]] QRect geometry() const { return m_item ? m_item->geometry() : QRect(); }

private:
    void makeItem();
    void copyHistory(int index);

    Partners m_with;
    QMenu m_menu;
    QIcon m_icon;
    std::unique_ptr<QSystemTrayIcon> m_item; ///< once there is a tray
    Lifetime m_lifetime;
};

/// Makes the actions of a menu from its records; `perform` is called for the one that is chosen.
void fillMenu(QMenu& menu, const QList<MenuEntry>& entries,
              const std::function<void(const MenuEntry&)>& perform);

} // namespace murlo
