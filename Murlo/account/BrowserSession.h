#pragma once

#include "account/SignInError.h"
#include "platform/Scheduler.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <tl/expected.hpp>

namespace murlo {

class Desktop;
class LocalService;
class UrlScheme;

/// A visit of the user's to a web page in their browser, which ends with an address of a scheme of
/// our own. A browser never tells that it was closed: a note with "Cancel" and a time limit stand
/// in for that. Main thread.
class BrowserSession : public QObject {
    Q_OBJECT

public:
    static constexpr double limit = 600; ///< seconds until a visit counts as cancelled

    struct Partners {
        Scheduler& scheduler;
        Desktop& desktop;
        UrlScheme& scheme;
        LocalService& local;
    };
    explicit BrowserSession(const Partners& with);
    /// Cancels.
    ~BrowserSession() override;

    /// Has the desktop bring addresses that begin with `callback` (a scheme, then ":/path") here,
    /// sees to it that somebody listens if `page` is on this computer, and opens the page. `came`
    /// is called for each such address. The visit lasts until `finish`, or until it fails: then
    /// `ended` is called once, with the reason. A visit under way is cancelled first.
    void start(const QUrl& page, const QString& callback, std::function<void(const QUrl&)> came,
               std::function<void(const SignInError&)> ended);
    /// The visit has done what it was for.
    void finish();
    [[nodiscard]] bool isWaiting() const { return m_ended != nullptr; }
    /// The page of the visit.
    [[nodiscard]] const QUrl& page() const { return m_page; }
    /// Opens the page once more.
    void openAgain();
    void cancel();

    /// An address that the desktop has brought; ignored if no visit waits for it.
    void take(const QString& address);
    /// Whether an argument of a further start of the program is an address that begins with
    /// `callback`, in whatever case its scheme is written.
    [[nodiscard]] static bool isCallback(const QString& argument, const QString& callback);

Q_SIGNALS:
    /// A visit has begun or ended.
    void waitingChanged();

private:
    void open();
    void end(const SignInError& why);
    void clear();

    Partners m_with;
    QUrl m_page;
    QString m_callback; ///< of the visit
    std::function<void(const QUrl&)> m_came;
    std::function<void(const SignInError&)> m_ended;
    ScheduledWork m_limit;
    qint64 m_visit = 0; ///< tells late answers to an earlier visit apart
    Lifetime m_lifetime;
};

} // namespace murlo
