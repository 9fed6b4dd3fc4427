#pragma once

#include "menubar/MenuEntries.h"
#include "platform/Port.h"
#include "windows/AccountRow.h"

#include <QLabel>
#include <QListWidget>
#include <QMainWindow>
#include <QPointer>
#include <QPushButton>

#include <functional>
#include <optional>

namespace murlo {

/// What Murlo's window reads and does; everything goes through the menu's records, so window and
/// menu cannot disagree.
struct SettingsWindowActions {
    std::function<QList<MenuEntry>()> entries;     ///< the menu as it would be now
    std::function<void(const MenuEntry&)> perform; ///< carries out an entry
    std::function<QStringList()> history;          ///< the full texts, newest first
    std::function<bool()> hotkeysLive;             ///< whether the trigger keys work now
    std::function<void()> openLog;                 ///< shows the log file
    std::function<void()> refreshFromSystem;       ///< reads anew what may have changed outside
    AccountRowActions account = {};
    std::function<void()> showModels = {}; ///< shows the window of the speech models
};

/// Murlo's window: what the tray's menu offers, for desktops without a tray. Main thread.
class SettingsWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit SettingsWindow(SettingsWindowActions actions);

    /// Takes up what has changed.
    void refresh();

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void installMainMenu();
    QWidget* makeContent();
    void onClick(QPushButton* button, std::function<void()> work);
    [[nodiscard]] std::optional<MenuEntry> entry(MenuCommand command) const;
    void performCommand(MenuCommand command);
    void copySelected();

    SettingsWindowActions m_actions;
    QLabel* m_hint = nullptr;
    QLabel* m_engine = nullptr;
    AccountRow* m_account = nullptr;
    QPushButton* m_toggle = nullptr;
    QListWidget* m_recent = nullptr;
    QLabel* m_nothing = nullptr; ///< in the list's place while it is empty
    QPushButton* m_copy = nullptr;
    QLabel* m_version = nullptr;
};

/// The window while it is open: made when it is shown, gone when it is closed. Main thread.
class SettingsWindowController : NonCopyable {
public:
    explicit SettingsWindowController(SettingsWindowActions actions)
        : m_actions(std::move(actions)) {}
    ~SettingsWindowController() { close(); }

    /// Shows the window, or brings it to the front.
    void showSettings();
    void close() { delete m_window.data(); }
    [[nodiscard]] bool isOpen() const { return m_window && m_window->isVisible(); }
    /// Tells the window, if it is open, that what it shows has changed.
    void refresh();

private:
    SettingsWindowActions m_actions;
    QPointer<SettingsWindow> m_window; ///< deletes itself when it is closed
};

} // namespace murlo
