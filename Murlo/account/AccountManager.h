#pragma once

#include "account/Awaited.h"
#include "account/GoogleSignIn.h"
#include "account/SignOutReasonStore.h"
#include "backend/AccountClient.h"
#include "backend/KeychainStore.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>

namespace murlo {

class ErrorReporter;
class Reachability;
class RefusedKeys;
class Settings;

/// Whether somebody is signed in, and all that changes it. A sign-in trades the provider's ID token
/// for the backend's API key. Where the backend does not answer, the account is signed in without a
/// key ("deferred") and the token is kept for later tries. Nobody else signs an account in or out.
/// Main thread.
class AccountManager : public QObject {
    Q_OBJECT

public:
    /// Seconds between tries of a sign-up that was put off.
    static constexpr double retryPeriod = 900;

    struct Partners {
        Settings& settings;
        KeychainStore& keys;
        AccountClient& client; ///< gets its `apiKey` here
        BrowserSession& browser;
        HttpClient& http; ///< for the identity provider
        const BackendConfig& config;
        RefusedKeys& refused;
        ErrorReporter& errors;
        Reachability& reachability;
        Scheduler& scheduler;
    };
    explicit AccountManager(const Partners& with);
    ~AccountManager() override;

    /// An e-mail address is stored, or a key; not before the end of a sign-in.
    [[nodiscard]] bool isSignedIn() const { return m_signedIn; }
    /// From `signIn` to its end.
    [[nodiscard]] bool isSigningIn() const { return m_flow != nullptr; }
    /// Somebody is signed in by an address alone: the key is certainly gone, as in a home that was
    /// copied or under another keyring, and only a new sign-in brings one.
    [[nodiscard]] bool lacksKey() const;
    /// The account's address, if it is known.
    [[nodiscard]] std::optional<QString> email() const;
    [[nodiscard]] SignOutReasonStore& reasons() { return m_reasons; }

    /// Signs in with the browser; does nothing while a sign-in is under way.
    void signIn();
    /// While the browser is waited for: ends the sign-in.
    void cancelSignIn() { m_googleSignIn.cancel(); }
    /// The user's own wish. Leaves no reason behind.
    void signOut();
    /// Trades a token that is kept for the key that is missing, if so; a keyring that has not
    /// answered yet is asked again. Repeats itself while one of them is open, and when the network
    /// comes back. `loaded` of the keys does it at the start.
    void retryPendingSignup();

Q_SIGNALS:
    /// Nobody was signed in before; at the end of the sign-in.
    void signedIn();
    void signedOut();
    /// A sign-in has begun or ended.
    void signingInChanged();
    /// It ended without success.
    void signInFailed(const murlo::SignInError& error);

private:
    struct Flow;
    using SignUp = tl::expected<QString, AccountError>;

    QCoro::Task<void> runSignIn(std::shared_ptr<Flow> flow);
    QCoro::Task<void> runRetry(std::shared_ptr<Flow> flow, QString token);
    [[nodiscard]] Awaited<SignUp> signUp(const std::shared_ptr<Flow>& flow, const QString& token);
    void finish(const std::shared_ptr<Flow>& flow);
    void defer(const AccountError& why);
    void startRetryTimer();
    void endRetry();
    void refresh();
    void keyRefused(const QString& key);
    void forgetEmail();

    Partners m_with;
    SignOutReasonStore m_reasons;
    GoogleSignIn m_googleSignIn;
    std::shared_ptr<Flow> m_flow;   ///< the sign-in under way
    std::shared_ptr<Flow> m_retry;  ///< the deferred sign-up under way
    ScheduledWork m_networkSettles; ///< a change of the network, until its end
    ScheduledWork m_retryTimer;     ///< while it is deferred, or the keyring has not answered
    bool m_signedIn = false;
};

} // namespace murlo
