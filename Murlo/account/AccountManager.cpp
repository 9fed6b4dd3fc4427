#include "account/AccountManager.h"

#include "settings/Settings.h"

namespace murlo {

AccountManager::AccountManager(const Settings& settings)
    : m_settings(settings) {
    refresh();
    connect(&settings, &Settings::changed, this, [this](const QString& key) {
        if (key == QLatin1String(SettingKey::accountEmail)) refresh();
    });
}

void AccountManager::refresh() {
    const bool before = m_signedIn;
    m_signedIn = !m_settings.text(SettingKey::accountEmail).value_or(QString()).isEmpty();
    if (m_signedIn && !before) Q_EMIT signedIn();
    if (!m_signedIn && before) Q_EMIT signedOut();
}

} // namespace murlo
