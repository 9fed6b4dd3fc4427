#include "account/AccountManager.h"

#include "backend/RefusedKeys.h"
#include "platform/Reachability.h"
#include "settings/Settings.h"
#include "support/Log.h"
#include "telemetry/ErrorReporter.h"

namespace murlo {

using enum KeychainStore::Item;

namespace {
/// Seconds in which a changed network gets its addresses and name servers, and may change again.
constexpr double networkSettling = 5;
} // namespace

/// What a sign-in or a retry waits for. Once it is over, its coroutine touches nothing more.
struct AccountManager::Flow {
    bool over = false;
    AccountClient::Request request;
    std::function<void()> wake; ///< settles the sign-up, so that the coroutine can end

    void end() {
        over = true;
        request.reset();
        if (const auto settle = std::exchange(wake, nullptr)) settle();
    }
};

AccountManager::AccountManager(const Partners& with)
    : m_with(with)
    , m_reasons(with.settings)
    , m_googleSignIn(with.browser, with.http, with.config) {
    m_with.client.apiKey = [&keys = m_with.keys] { return keys.key(); };
    connect(&m_with.settings, &Settings::changed, this, [this](const QString& key) {
        if (key == QLatin1String(SettingKey::accountEmail)) refresh();
    });
    const auto keysKnown = [this] {
        refresh();
        retryPendingSignup();
    };
    connect(&m_with.keys, &KeychainStore::loaded, this, keysKnown);
    connect(&m_with.keys, &KeychainStore::foundLate, this, keysKnown);
    connect(&m_with.refused, &RefusedKeys::refused, this, &AccountManager::keyRefused);
    connect(&m_with.reachability, &Reachability::cameBack, this, [this] {
        if (!m_retryTimer.isPending()) return;
        m_networkSettles =
            m_with.scheduler.after(networkSettling, [this] { retryPendingSignup(); });
    });
    refresh();
}

AccountManager::~AccountManager() {
    if (const auto flow = std::exchange(m_flow, nullptr)) flow->end();
    endRetry();
    m_with.client.apiKey = nullptr;
}

std::optional<QString> AccountManager::email() const {
    return m_with.settings.text(SettingKey::accountEmail);
}

bool AccountManager::lacksKey() const {
    return m_signedIn && !isSigningIn() && m_with.keys.isComplete() && !m_with.keys.read(apiKey) &&
           !m_with.keys.read(pendingIdToken);
}

void AccountManager::refresh() {
    if (isSigningIn()) return; // told once, at the end
    const bool before = m_signedIn;
    m_signedIn = !email().value_or(QString()).isEmpty() || m_with.keys.read(apiKey);
    if (m_signedIn && !before) Q_EMIT signedIn();
    if (!m_signedIn && before) Q_EMIT signedOut();
}

void AccountManager::signIn() {
    if (isSigningIn()) return;
    m_flow = std::make_shared<Flow>();
    Q_EMIT signingInChanged();
    runSignIn(m_flow);
}

QCoro::Task<void> AccountManager::runSignIn(std::shared_ptr<Flow> flow) {
    const GoogleSignIn::Result identity = co_await m_googleSignIn.start();
    if (flow->over) co_return;
    if (!identity) {
        finish(flow);
        Q_EMIT signInFailed(identity.error());
        co_return;
    }
    endRetry(); // the backend must not see the older token after the newer one
    m_with.settings.set(SettingKey::accountEmail, identity->payload.email);
    m_reasons.clear();
    // Kept from now on, so that a program that ends in the middle goes on at its next start.
    m_with.keys.save(pendingIdToken, identity->idToken);
    const SignUp key = co_await signUp(flow, identity->idToken);
    if (flow->over) co_return;
    // An older key may have been found and refused while this one was waited for.
    m_with.settings.set(SettingKey::accountEmail, identity->payload.email);
    m_reasons.clear();
    if (key) {
        m_with.keys.save(apiKey, *key);
        m_with.keys.remove(pendingIdToken);
        Log::write(QStringLiteral("account: signed in as ") + identity->payload.email);
    } else {
        m_with.keys.remove(apiKey); // that of an earlier account
        defer(key.error());
    }
    finish(flow);
}

void AccountManager::defer(const AccountError& why) {
    m_with.errors.report(QStringLiteral("signup_deferred"),
                         QStringLiteral("worker unreachable at signup"));
    Log::write(QStringLiteral("account: signup deferred: ") + why.description());
    startRetryTimer();
}

void AccountManager::startRetryTimer() {
    if (m_retryTimer.isPending()) return;
    m_with.reachability.watch();
    m_retryTimer = m_with.scheduler.every(retryPeriod, [this] { retryPendingSignup(); });
}

void AccountManager::finish(const std::shared_ptr<Flow>& flow) {
    flow->over = true;
    m_flow.reset();
    Q_EMIT signingInChanged();
    refresh();
}

Awaited<AccountManager::SignUp> AccountManager::signUp(const std::shared_ptr<Flow>& flow,
                                                       const QString& token) {
    Awaited<SignUp> answer;
    flow->wake = [settle = answer.settle()] { settle(tl::unexpected(AccountError())); };
    flow->request = m_with.client.signup(token, answer.settle());
    return answer;
}

void AccountManager::retryPendingSignup() {
    if (!m_with.keys.isLoaded() || isSigningIn() || m_retry) return;
    const KeyAnswer key = m_with.keys.key(); // has a silent keyring asked again
    const auto token = m_with.keys.read(pendingIdToken);
    const bool isNeeded = token && key.state == KeyAnswer::absent; // unavailable is not absent
    if (!isNeeded && m_with.keys.isComplete()) return m_retryTimer.cancel();
    startRetryTimer();
    if (!isNeeded) return;
    m_retry = std::make_shared<Flow>();
    runRetry(m_retry, *token);
}

QCoro::Task<void> AccountManager::runRetry(std::shared_ptr<Flow> flow, QString token) {
    const SignUp key = co_await signUp(flow, token);
    if (flow->over) co_return;
    m_retry.reset();
    if (key) {
        m_retryTimer.cancel();
        m_with.keys.save(apiKey, *key);
        m_with.keys.remove(pendingIdToken);
        m_reasons.clear();
        const auto payload = IDTokenPayload::decode(token);
        if (payload && email().value_or(QString()).isEmpty())
            m_with.settings.set(SettingKey::accountEmail, payload->email);
        Log::write(QStringLiteral("account: deferred signup completed"));
        refresh();
    } else if (key.error().kind == AccountError::unauthorized) {
        m_retryTimer.cancel();
        m_reasons.record(SignOutReason::signupIncomplete);
        m_with.keys.remove(pendingIdToken);
        forgetEmail();
    }
}

void AccountManager::endRetry() {
    m_retryTimer.cancel();
    if (const auto retry = std::exchange(m_retry, nullptr)) retry->end();
}

void AccountManager::signOut() {
    if (const auto flow = std::exchange(m_flow, nullptr)) {
        flow->end();
        cancelSignIn();
        Q_EMIT signingInChanged();
    }
    endRetry();
    m_with.keys.remove(apiKey);
    m_with.keys.remove(pendingIdToken);
    forgetEmail();
    m_reasons.clear();
    Log::write(QStringLiteral("account: signed out"));
}

void AccountManager::keyRefused(const QString& key) {
    // The answer to a request that carried an older key says nothing about this one.
    if (m_with.keys.read(apiKey) != key) return;
    m_reasons.record(SignOutReason::revokedElsewhere);
    m_with.keys.remove(apiKey);
    forgetEmail();
    Log::write(QStringLiteral("account: api key revoked server-side, signed out locally"));
}

void AccountManager::forgetEmail() {
    m_with.settings.remove(SettingKey::accountEmail);
    refresh(); // there may have been a key alone
}

} // namespace murlo
