#pragma once

#include "windows/AccountRecord.h"

#include <QObject>

namespace murlo {

class AccountManager;
class KeychainStore;
class SettingsModel;
struct BackendConfig;
struct SignInError;

/// The account as a window shows it. Remembers why a sign-in failed until the next one. Main
/// thread.
class AccountPresenter : public QObject {
    Q_OBJECT

public:
    AccountPresenter(AccountManager& account, KeychainStore& keys, SettingsModel& settings,
                     const BackendConfig& config);

    [[nodiscard]] AccountRecord record() const;
    /// A window begins to show the row: why the account was signed out is told now, once.
    void shown();
    /// The row's button.
    void press();
    void setEnhance(bool on);

    /// The user logs out. What else ends with that is not this object's business.
    std::function<void()> onLogOut;

Q_SIGNALS:
    /// The record is another.
    void changed();

private:
    void failed(const SignInError& error);

    AccountManager& m_account;
    SettingsModel& m_settings;
    const BackendConfig& m_config;
    Message m_trouble;
};

} // namespace murlo
