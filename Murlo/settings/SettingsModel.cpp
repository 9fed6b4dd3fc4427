#include "settings/SettingsModel.h"

#include "MurloKit/Vocabulary.h"
#include "platform/LoginItem.h"
#include "settings/Settings.h"

namespace murlo {

SettingsModel::SettingsModel(Settings& settings, LoginItem& loginItem)
    : m_settings(settings)
    , m_loginItem(loginItem)
    , m_trigger(settings.trigger())
    , m_pickTargetTrigger(settings.pickTargetTrigger())
    , m_insertMode(settings.insertMode())
    , m_language(settings.text(SettingKey::language).value_or(QStringLiteral("en")))
    , m_modelPath(settings.modelPath().value_or(QString()))
    , m_initialPrompt(settings.text(SettingKey::initialPrompt).value_or(QString()))
    , m_playSounds(settings.truth(SettingKey::playSounds))
    , m_enhancePrompt(settings.truth(SettingKey::enhancePrompt))
    , m_launchAtLogin(loginItem.isEnabled()) {}

void SettingsModel::setTrigger(TriggerKey key) {
    m_trigger = key;
    m_settings.setTrigger(key);
    if (onTriggerChange) onTriggerChange();
    pushToAccount();
}

void SettingsModel::setPickTargetTrigger(TriggerKey key) {
    m_pickTargetTrigger = key;
    m_settings.setPickTargetTrigger(key);
    if (onTriggerChange) onTriggerChange();
    pushToAccount();
}

void SettingsModel::setInsertMode(InsertMode mode) {
    m_insertMode = mode;
    m_settings.set(SettingKey::insertMode, rawValue(mode));
    pushToAccount();
}

void SettingsModel::setLanguage(const QString& code) {
    m_language = code;
    m_settings.set(SettingKey::language, code);
    if (onEngineOptionChange) onEngineOptionChange();
    pushToAccount();
}

void SettingsModel::setModelPath(const QString& path) {
    m_modelPath = path;
    m_settings.set(SettingKey::modelPath, path);
    if (onEngineOptionChange) onEngineOptionChange();
    Q_EMIT changed();
}

void SettingsModel::setInitialPrompt(const QString& prompt) {
    m_initialPrompt = prompt;
    m_settings.set(SettingKey::initialPrompt, prompt);
    pushToAccount();
}

void SettingsModel::addVocabularyTerm(const QString& typed) {
    const QString prompt = Vocabulary::adding(typed, m_initialPrompt);
    if (prompt != m_initialPrompt) setInitialPrompt(prompt);
}

void SettingsModel::removeVocabularyTerm(const QString& term) {
    setInitialPrompt(Vocabulary::removing(term, m_initialPrompt));
}

void SettingsModel::setPlaySounds(bool play) {
    m_playSounds = play;
    m_settings.set(SettingKey::playSounds, play);
    pushToAccount();
}

void SettingsModel::setEnhancePrompt(bool enhance) {
    m_enhancePrompt = enhance;
    m_settings.set(SettingKey::enhancePrompt, enhance);
    pushToAccount();
}

void SettingsModel::setLaunchAtLogin(bool launch) {
    m_launchAtLogin = launch;
    m_loginItem.setEnabled(launch);
    m_settings.set(SettingKey::loginItemDecided, true);
    Q_EMIT changed();
}

void SettingsModel::setEngineState(const EngineState& state) {
    if (m_engineState == state) return;
    m_engineState = state;
    Q_EMIT changed();
}

void SettingsModel::advancePermissionsTick() {
    ++m_permissionsTick;
    Q_EMIT changed();
}

void SettingsModel::setSelection(SettingsSection section) {
    if (m_selection == section) return;
    m_selection = section;
    Q_EMIT changed();
}

void SettingsModel::setHotkeyLive(bool live) {
    if (m_hotkeyLive == live) return;
    m_hotkeyLive = live;
    Q_EMIT changed();
}

QStringList SettingsModel::availableModels() const {
    return m_settings.availableModels();
}

void SettingsModel::refreshModelPath() {
    const QString found = m_settings.modelPath().value_or(QString());
    if (found == m_modelPath) return;
    m_modelPath = found; // found, not chosen: neither stored nor a reason to restart the engine
    Q_EMIT changed();
}

void SettingsModel::refreshFromSystem() {
    advancePermissionsTick();
    if (m_launchAtLogin != m_loginItem.isEnabled()) {
        m_launchAtLogin = !m_launchAtLogin; // switched elsewhere: not this user's decision here
        Q_EMIT changed();
    }
    refreshModelPath();
}

void SettingsModel::pushToAccount() {
    if (onAccountPush) onAccountPush();
    Q_EMIT changed();
}

} // namespace murlo
