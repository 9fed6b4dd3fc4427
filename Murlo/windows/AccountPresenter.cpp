#include "windows/AccountPresenter.h"

#include "account/AccountManager.h"
#include "settings/Settings.h"
#include "settings/SettingsModel.h"

namespace murlo {

AccountPresenter::AccountPresenter(AccountManager& account, KeychainStore& keys,
                                   SettingsModel& settings, const BackendConfig& config)
    : m_account(account)
    , m_settings(settings)
    , m_config(config) {
    connect(&account, &AccountManager::signedIn, this, [this] {
        m_trouble = {};
        Q_EMIT changed();
    });
    connect(&account, &AccountManager::signedOut, this, &AccountPresenter::changed);
    connect(&keys, &KeychainStore::loaded, this, &AccountPresenter::changed);
    connect(&keys, &KeychainStore::foundLate, this, &AccountPresenter::changed);
    connect(&account, &AccountManager::signingInChanged, this, &AccountPresenter::changed);
    connect(&account, &AccountManager::signInFailed, this, &AccountPresenter::failed);
    connect(&settings, &SettingsModel::changed, this, &AccountPresenter::changed);
}

AccountRecord AccountPresenter::record() const {
    Message trouble = m_trouble;
    if (!m_config.isUsable())
        trouble = Message(Word::asReported, {m_config.complaints.join(QLatin1Char(' '))});
    else if (m_account.lacksKey() && trouble.isEmpty())
        trouble = Word::signupIncomplete;
    return presentAccount({m_account.isSignedIn(), m_account.isSigningIn(), m_account.lacksKey(),
                           m_account.email().value_or(QString()), m_config.providerName,
                           m_config.isLocal() ? QString() : m_config.baseURL.host(), trouble,
                           m_settings.values().truth(SettingKey::enhancePrompt)});
}

void AccountPresenter::shown() {
    if (m_account.isSignedIn()) return;
    const auto reason = m_account.reasons().consume();
    if (!reason) return;
    m_trouble = *reason == SignOutReason::revokedElsewhere ? Word::revokedElsewhere
                                                           : Word::signupIncomplete;
    Q_EMIT changed();
}

void AccountPresenter::press() {
    if (m_account.isSignedIn() && !m_account.lacksKey()) {
        if (onLogOut) onLogOut();
        return;
    }
    m_trouble = {};
    m_account.signIn();
}

void AccountPresenter::setEnhance(bool on) {
    m_settings.assign(SettingKey::enhancePrompt, on);
}

void AccountPresenter::failed(const SignInError& error) {
    m_trouble = error.message(m_config.providerName);
    Q_EMIT changed();
}

} // namespace murlo
