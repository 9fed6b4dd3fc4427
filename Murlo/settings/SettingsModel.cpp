#include "settings/SettingsModel.h"

#include "MurloKit/Vocabulary.h"
#include "platform/LoginItem.h"
#include "settings/LoginItemSwitch.h"
#include "settings/Settings.h"
#include "support/Log.h"

namespace murlo {

SettingsModel::SettingsModel(Settings& settings, LoginItem& loginItem)
    : m_settings(settings)
    , m_loginItem(loginItem)
    , m_modelPath(settings.modelPath().value_or(QString()))
    , m_launchAtLogin(loginItem.isEnabled()) {
    connect(&settings, &Settings::changed, this, [this] {
        if (!m_assigning) Q_EMIT changed();
    });
}

void SettingsModel::assign(const char* key, const QJsonValue& value) {
    const SettingRow* row = settingRow(QLatin1String(key));
    Q_ASSERT(row);
    m_assigning = true;
    m_settings.set(key, value);
    m_assigning = false;
    m_modelPath = m_settings.modelPath().value_or(QString());
    if (row->effect == SettingEffect::triggers && onTriggerChange) onTriggerChange();
    if (row->effect == SettingEffect::engine && onEngineOptionChange) onEngineOptionChange();
    if (row->synchronised && onAccountPush) onAccountPush();
    Q_EMIT changed();
}

QString SettingsModel::vocabulary() const {
    return m_settings.text(SettingKey::initialPrompt).value_or(QString());
}

void SettingsModel::addVocabularyTerm(const QString& typed) {
    const QString prompt = Vocabulary::adding(typed, vocabulary());
    if (prompt != vocabulary()) assign(SettingKey::initialPrompt, prompt);
}

void SettingsModel::removeVocabularyTerm(const QString& term) {
    assign(SettingKey::initialPrompt, Vocabulary::removing(term, vocabulary()));
}

void SettingsModel::setLaunchAtLogin(bool launch) {
    if (setLoginItem(m_loginItem, launch)) m_launchAtLogin = launch;
    assign(SettingKey::loginItemDecided, true);
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
        m_launchAtLogin = !m_launchAtLogin; // changed elsewhere: not recorded as a decision
        Q_EMIT changed();
    }
    refreshModelPath();
}

} // namespace murlo
