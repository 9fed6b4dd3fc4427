#include "setup/Forgetting.h"

#include "backend/BackendConfig.h"
#include "backend/KeychainStore.h"
#include "platform/LocalService.h"
#include "platform/LoginItem.h"
#include "platform/SecretStore.h"
#include "platform/UrlScheme.h"
#include "settings/SettingKeys.h"
#include "support/JsonFile.h"

#include <QDir>

namespace murlo {

Forgetting::Forgetting(const Partners& with, Paths paths, QString backendFolder)
    : m_with(with)
    , m_paths(std::move(paths))
    , m_backendFolder(std::move(backendFolder)) {}

QStringList Forgetting::inventory() const {
    QStringList lines;
    for (const QString& folder : {m_paths.support(), m_backendFolder})
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
    names += KeychainStore::namesInFile(m_paths);
    names.removeDuplicates();
    return names;
}

void Forgetting::run(const BackendConfig& config, std::function<void(const QStringList&)> done) {
    m_done = std::move(done);
    const QStringList names = keyNames(config);
    m_left = static_cast<int>(names.size()) + 2;
    for (const QString& name : names) {
        m_with.secrets.remove(name, m_lifetime.guard([this](const SecretStore::Done& removed) {
            if (!removed && !removed.error().noStore)
                add(QStringLiteral("The keyring does not answer (%1).")
                        .arg(removed.error().reason));
            finished();
        }));
    }
    m_with.urlScheme.release(m_lifetime.guard([this](bool released) {
        if (!released) add(QStringLiteral("The entry for the sign-in could not be removed."));
        finished();
    }));
    m_with.backend.stop(m_backendFolder, m_lifetime.guard([this](bool stopped) {
        if (stopped)
            removeFolder(m_backendFolder);
        else
            add(QStringLiteral("The backend of this computer does not end; its database stays."));
        finished();
    }));
    if (m_with.loginItem.isEnabled() && !m_with.loginItem.setEnabled(false))
        add(QStringLiteral("The entry for the start at login could not be removed."));
    removeFolder(m_paths.support());
}

void Forgetting::removeFolder(const QString& folder) {
    if (QDir(folder).exists() && !QDir(folder).removeRecursively())
        add(QStringLiteral("%1 could not be removed.").arg(BackendConfig::spoken(folder)));
}

void Forgetting::add(const QString& failure) {
    if (!m_failures.contains(failure)) m_failures << failure;
}

void Forgetting::finished() {
    if (--m_left == 0) m_done(m_failures);
}

} // namespace murlo
