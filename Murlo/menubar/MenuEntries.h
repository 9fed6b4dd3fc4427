#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/EngineState.h"
#include "MurloKit/TriggerKey.h"

#include <QList>
#include <QStringList>

#include <optional>

namespace murlo {

/// What an entry of the menu does.
enum class MenuCommand {
    none,
    toggleDictation,
    restartEngine,
    takeFasterModel,
    copyHistory, ///< with the index in the history
    openSetup,
    openSettings,
    runSelfTest,
    openLog,
    openUpdate,
    showVersion, ///< does nothing
    quit,
};

/// One line of the menu: a title with what it does, a submenu, or a separator.
struct MenuEntry {
    QString title; ///< empty for a separator
    MenuCommand command = MenuCommand::none;
    int index = -1;
    bool enabled = true;
    QString shortcut; ///< as `QKeySequence` reads it
    QList<MenuEntry> submenu;

    [[nodiscard]] bool isSeparator() const { return title.isEmpty(); }
    friend bool operator==(const MenuEntry&, const MenuEntry&) = default;
};

/// Everything that the menu depends on, as it is when the menu opens.
struct MenuInput {
    DictationState::Case dictation = DictationState::idle;
    TriggerKey trigger = TriggerKey::leftShift; ///< that dictates
    EngineState engine;
    std::optional<QString> fasterModel; ///< name of the one that can be taken for a slow one
    QStringList history;                ///< newest first
    std::optional<QString> setupTitle;  ///< of the entry that opens the setup; none without a setup
    bool hasSelfTest = false;
    bool logWanted = false;        ///< the modifier that reveals the log was held
    std::optional<QString> update; ///< version that can be had
    QString version;               ///< empty when it is not known
};

/// The whole menu, from top to bottom.
[[nodiscard]] QList<MenuEntry> menuEntries(const MenuInput& input);

/// The title of the entry that starts or stops a dictation.
[[nodiscard]] QString dictationTitle(DictationState::Case state, TriggerKey trigger);
/// The engine's state in a line.
[[nodiscard]] QString engineTitle(const EngineState& state);
/// A text of the history in one line of at most 48 characters, and "…" when there was more.
[[nodiscard]] QString historyTitle(const QString& text);

} // namespace murlo
