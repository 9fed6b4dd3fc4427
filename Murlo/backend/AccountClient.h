#pragma once

#include "MurloKit/ErrorReport.h"
#include "MurloKit/ReleaseInfo.h"
#include "MurloKit/UsageEvent.h"
#include "backend/AccountError.h"
#include "platform/HttpClient.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <tl/expected.hpp>

namespace murlo {

class Scheduler;

/// The key for an authorised request: present, absent, or not to be had from the keyring just now.
struct KeyAnswer {
    enum State { present, absent, unavailable };
    State state = absent;
    QString key; ///< of `present`
};

/// The only client of the backend's HTTP interface. Every operation is one request and one answer,
/// never repeated, never redirected; any number may be under way. Answers come on a later turn of
/// the main thread, once. Destroying or cancelling the returned task means that no answer comes.
/// Main thread.
class AccountClient {
public:
    template <typename Result>
    using Answer = std::function<void(tl::expected<Result, AccountError>)>;
    using Request = std::unique_ptr<HttpTask>;

    struct Partners {
        HttpClient& http; ///< keeps what is meant for this computer from other users
        Scheduler& scheduler;
    };

    /// `baseURL` may be empty (nothing usable is configured): then every operation fails as
    /// `network`.
    AccountClient(const Partners& with, QUrl baseURL, QString appVersion);

    /// Asked at every authorised request.
    std::function<KeyAnswer()> apiKey;

    /// POST /signup: an ID token for an API key.
    [[nodiscard]] Request signup(const QString& idToken, Answer<QString> done);
    /// POST /events: how many were accepted.
    [[nodiscard]] Request upload(const QList<UsageEvent>& events, Answer<int> done);
    /// POST /errors: how many were accepted.
    [[nodiscard]] Request uploadErrors(const QList<ErrorReport>& errors, Answer<int> done);
    /// GET /settings: the account's settings record as JSON, or nothing where there is none.
    [[nodiscard]] Request fetchSettings(Answer<std::optional<QByteArray>> done);
    /// PUT /settings: `settings` is one JSON object, which is sent as it is.
    [[nodiscard]] Request pushSettings(const QByteArray& settings, Answer<void> done);
    /// POST /polish: the text, rewritten for the application. `timeout` in seconds.
    [[nodiscard]] Request polish(const QString& text, const std::optional<QString>& targetApp,
                                 double timeout, Answer<QString> done);
    /// GET /version.
    [[nodiscard]] Request fetchRelease(Answer<ReleaseInfo> done);
    /// POST /funnel: this installation has reached a stage.
    [[nodiscard]] Request funnel(const QString& installId, const QString& stage, Answer<void> done);

private:
    struct Call;
    [[nodiscard]] Request perform(Call call);

    Partners m_with;
    QUrl m_baseURL;
    QString m_appVersion;
};

} // namespace murlo
