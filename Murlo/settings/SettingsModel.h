#pragma once

#include "MurloKit/EngineState.h"
#include "MurloKit/InsertMode.h"
#include "MurloKit/OnboardingPhase.h"
#include "MurloKit/TriggerKey.h"

#include <QObject>
#include <QStringList>

#include <functional>

namespace murlo {

class LoginItem;
class Settings;

/// The settings window's sections, in order.
enum class SettingsSection { shortcuts, enhance, voice, history, permissions, general };

/// The settings as the settings window edits them: each assignment is stored at once, then its
/// callback runs, then the account is told, and observers hear of it. Main thread.
class SettingsModel : public QObject {
    Q_OBJECT

public:
    /// A trigger key has changed: the watcher of keys is to take it up.
    std::function<void()> onTriggerChange;
    /// The model or the language has changed: the engine is to be started anew.
    std::function<void()> onEngineOptionChange;
    /// The user wants to sign out.
    std::function<void()> onLogOut;
    /// The user wants to see the tour again, from this phase on.
    std::function<void(OnboardingPhase)> onReplayTour;
    /// A synchronised setting has changed and is to reach the account.
    std::function<void()> onAccountPush;

    /// Reads every setting.
    SettingsModel(Settings& settings, LoginItem& loginItem);

    [[nodiscard]] TriggerKey trigger() const { return m_trigger; }
    void setTrigger(TriggerKey key);
    [[nodiscard]] TriggerKey pickTargetTrigger() const { return m_pickTargetTrigger; }
    void setPickTargetTrigger(TriggerKey key);
    [[nodiscard]] InsertMode insertMode() const { return m_insertMode; }
    void setInsertMode(InsertMode mode);
    /// A code of the language table, or "auto".
    [[nodiscard]] const QString& language() const { return m_language; }
    /// Starts the engine anew.
    void setLanguage(const QString& code);
    /// Full path of the speech model in use; empty when there is none.
    [[nodiscard]] const QString& modelPath() const { return m_modelPath; }
    /// Starts the engine anew.
    void setModelPath(const QString& path);
    /// The vocabulary as stored; see `Vocabulary`.
    [[nodiscard]] const QString& initialPrompt() const { return m_initialPrompt; }
    void setInitialPrompt(const QString& prompt);
    void addVocabularyTerm(const QString& typed);
    void removeVocabularyTerm(const QString& term);
    [[nodiscard]] bool playSounds() const { return m_playSounds; }
    void setPlaySounds(bool play);
    [[nodiscard]] bool enhancePrompt() const { return m_enhancePrompt; }
    void setEnhancePrompt(bool enhance);
    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }
    /// Also records that the user has decided, so that it is never switched on unasked.
    void setLaunchAtLogin(bool launch);

    // Shown only; fed from outside and never stored.
    [[nodiscard]] const EngineState& engineState() const { return m_engineState; }
    void setEngineState(const EngineState& state);
    /// Grows whenever permissions are to be read again.
    [[nodiscard]] int permissionsTick() const { return m_permissionsTick; }
    void advancePermissionsTick();
    [[nodiscard]] SettingsSection selection() const { return m_selection; }
    void setSelection(SettingsSection section);
    /// Whether the trigger keys work at the moment.
    [[nodiscard]] bool hotkeyLive() const { return m_hotkeyLive; }
    void setHotkeyLive(bool live);

    /// Full paths of the models to choose from.
    [[nodiscard]] QStringList availableModels() const;
    /// Takes up a model that came or went, without restarting the engine.
    void refreshModelPath();
    /// Takes up what changed outside: permissions, the login item, the model. For each time the
    /// settings window is shown or becomes active.
    void refreshFromSystem();

Q_SIGNALS:
    void changed();

private:
    void pushToAccount();

    Settings& m_settings;
    LoginItem& m_loginItem;
    TriggerKey m_trigger;
    TriggerKey m_pickTargetTrigger;
    InsertMode m_insertMode;
    QString m_language;
    QString m_modelPath;
    QString m_initialPrompt;
    bool m_playSounds;
    bool m_enhancePrompt;
    bool m_launchAtLogin;
    EngineState m_engineState;
    int m_permissionsTick = 0;
    SettingsSection m_selection = SettingsSection::shortcuts;
    bool m_hotkeyLive = false;
};

} // namespace murlo
