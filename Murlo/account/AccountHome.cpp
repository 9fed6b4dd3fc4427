#include "account/AccountHome.h"

#include "settings/Settings.h"
#include "support/Log.h"

namespace murlo {

void settleAccount(Settings& settings, const QString& address) {
    if (address.isEmpty()) return;
    const QString before = settings.text(SettingKey::accountServer).value_or(address);
    settings.set(SettingKey::accountServer, address);
    if (before == address) return;
    QHash<QString, QString> others = settings.words(SettingKey::otherAccounts);
    others.insert(before, settings.text(SettingKey::accountEmail).value_or(QString()));
    const QString email = others.take(address);
    QJsonObject kept;
    for (auto other = others.cbegin(); other != others.cend(); ++other)
        kept.insert(other.key(), other.value()); // without an address there may be a key
    settings.set(SettingKey::otherAccounts, kept);
    if (email.isEmpty())
        settings.remove(SettingKey::accountEmail);
    else
        settings.set(SettingKey::accountEmail, email);
    settings.remove(SettingKey::signOutReason);
    settings.set(SettingKey::enhancePrompt, false);
    Log::write(QStringLiteral("account: the backend's address has changed; the account of the old "
                              "one is kept until it comes back"));
}

} // namespace murlo
