#pragma once

#include "platform/Scheduler.h"
#include "support/Paths.h"

#include <QStringList>

#include <functional>

namespace murlo {

class LocalService;
class LoginItem;
class SecretStore;
struct BackendConfig;
class UrlScheme;

/// Takes back everything that Murlo has put into this user's home, keyring and desktop: what a
/// package's removal cannot. Main thread.
class Forgetting {
public:
    struct Partners {
        SecretStore& secrets;
        UrlScheme& urlScheme;
        LoginItem& loginItem;
        LocalService& backend; ///< ends before its database goes
    };
    /// `backendFolder` is that of the local backend's database.
    Forgetting(const Partners& with, Paths paths, QString backendFolder);

    /// What is about to be removed, a line each, for the question.
    [[nodiscard]] QStringList inventory() const;
    /// Removes it, and calls back once with what could not be removed, a sentence each.
    void run(const BackendConfig& config, std::function<void(const QStringList&)> done);

private:
    [[nodiscard]] QStringList keyNames(const BackendConfig& config) const;
    void removeFolder(const QString& folder);
    void add(const QString& failure);
    void finished();

    Partners m_with;
    Paths m_paths;
    QString m_backendFolder;
    int m_left = 0; ///< steps that have not ended
    QStringList m_failures;
    std::function<void(const QStringList&)> m_done;
    Lifetime m_lifetime;
};

} // namespace murlo
