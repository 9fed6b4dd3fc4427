#pragma once

#include "MurloKit/EngineState.h"
#include "MurloKit/OnboardingPhase.h"

#include <QJsonValue>
#include <QObject>
#include <QStringList>

#include <functional>

namespace murlo {

class LoginItem;
class Settings;

/// The settings window's sections, in order.
enum class SettingsSection { shortcuts, enhance, voice, history, permissions, general };

/// The settings as the settings window edits them: a view of the store, whose table defines the
/// effect of an assignment, plus read-only state shown beside them. Main thread.
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

    SettingsModel(Settings& settings, LoginItem& loginItem);

    /// What is set, or its fallback; see `settingsTable`.
    [[nodiscard]] const Settings& values() const { return m_settings; }
    /// The user's choice: stored, then applied by the effect in the table, then sent to the account
    /// if it is synchronised.
    void assign(const char* key, const QJsonValue& value);
    void addVocabularyTerm(const QString& typed);
    void removeVocabularyTerm(const QString& term);
    /// Full path of the speech model in use; empty when there is none.
    [[nodiscard]] const QString& modelPath() const { return m_modelPath; }
    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }
    /// Also records that the user has decided, so that it is never switched on unasked.
    void setLaunchAtLogin(bool launch);

    // Shown only; fed from outside and never stored.
    [[nodiscard]] const EngineState& engineState() const { return m_engineState; }
    void setEngineState(const EngineState& state);
    /// Incremented whenever permissions must be read again.
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
    /// Reads external changes: permissions, the login item, the model. Call it when the settings
    /// window is shown or activated.
    void refreshFromSystem();

Q_SIGNALS:
    /// After an assignment and its effects, or whenever something shown is another.
    void changed();

private:
    [[nodiscard]] QString vocabulary() const;

    Settings& m_settings;
    LoginItem& m_loginItem;
    QString m_modelPath;
    bool m_assigning = false;
    bool m_launchAtLogin;
    EngineState m_engineState;
    int m_permissionsTick = 0;
    SettingsSection m_selection = SettingsSection::shortcuts;
    bool m_hotkeyLive = false;
};

} // namespace murlo
