#include "setup/Forgetting.h"

#include "backend/BackendConfig.h"
#include "backend/KeychainStore.h"
#include "platform/LoginItem.h"
#include "platform/SecretStore.h"
#include "platform/UrlScheme.h"
#include "settings/SettingKeys.h"
#include "support/JsonFile.h"

#include <QDir>

namespace murlo {

Forgetting::Forgetting(const Partners& with, Paths paths, QStringList folders)
    : m_with(with)
    , m_paths(std::move(paths))
    , m_folders(std::move(folders)) {}

QStringList Forgetting::inventory() const {
    QStringList lines;
    for (const QString& folder : m_folders)
        if (QDir(folder).exists()) lines << BackendConfig::spoken(folder);
    return lines << QStringLiteral("the account's key in the keyring")
                 << QStringLiteral("the entries for the start at login and for the sign-in");
}

/// The keys of every backend that this user has had.
QStringList Forgetting::keyNames(const BackendConfig& config) const {
    const JsonFile file(m_paths.file(QStringLiteral("settings.json")), QStringLiteral("settings"));
    const QJsonObject settings =
        file.read([](const QJsonDocument& document) { return document.isObject(); }).object();
    QStringList addresses =
        settings.value(QLatin1String(SettingKey::otherAccounts)).toObject().keys();
    addresses << config.address()
              << settings.value(QLatin1String(SettingKey::accountServer)).toString();
    addresses.removeDuplicates();
    QStringList names;
    for (const QString& address : addresses)
        if (!address.isEmpty()) names += KeychainStore::names(address);
    return names;
}

void Forgetting::run(const BackendConfig& config, std::function<void(const QStringList&)> done) {
    m_done = std::move(done);
    const QStringList names = keyNames(config);
    m_left = static_cast<int>(names.size()) + 2;
    for (const QString& name : names) {
        m_with.secrets.remove(name, m_lifetime.guard([this](const SecretStore::Done& removed) {
            finished(
                removed ? QString()
                        : QStringLiteral("The keyring does not answer (%1).").arg(removed.error()));
        }));
    }
    m_with.urlScheme.release(config.callbackScheme(), m_lifetime.guard([this](bool released) {
        finished(released ? QString()
                          : QStringLiteral("The entry for the sign-in could not be removed."));
    }));
    QString failure;
    if (m_with.loginItem.isEnabled() && !m_with.loginItem.setEnabled(false))
        failure = QStringLiteral("The entry for the start at login could not be removed.");
    for (const QString& folder : m_folders) {
        if (QDir(folder).exists() && !QDir(folder).removeRecursively())
            failure +=
                QStringLiteral(" %1 could not be removed.").arg(BackendConfig::spoken(folder));
    }
    finished(failure.trimmed());
}

void Forgetting::finished(const QString& failure) {
    if (!failure.isEmpty() && !m_failures.contains(failure)) m_failures << failure;
    if (--m_left == 0) m_done(m_failures);
}

} // namespace murlo
