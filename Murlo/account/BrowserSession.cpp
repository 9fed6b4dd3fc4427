#include "account/BrowserSession.h"

#include "platform/Desktop.h"
#include "platform/LocalService.h"
#include "platform/UrlScheme.h"
#include "support/Log.h"

namespace murlo {

BrowserSession::BrowserSession(const Partners& with)
    : m_with(with) {}

BrowserSession::~BrowserSession() {
    cancel();
}

void BrowserSession::start(const QUrl& page, const QString& callback,
                           std::function<void(const QUrl&)> came,
                           std::function<void(const SignInError&)> ended) {
    cancel();
    m_page = page;
    m_callback = callback;
    m_came = std::move(came);
    m_ended = std::move(ended);
    ++m_visit;
    m_limit = m_with.scheduler.after(limit, [this] {
        Log::write(QStringLiteral("account: nothing has come from the browser for ten minutes"));
        end({SignInError::cancelled, {}});
    });
    Q_EMIT waitingChanged();
    const QString scheme = callback.section(QLatin1Char(':'), 0, 0).toLower();
    m_with.scheme.claim(scheme, m_lifetime.guard([this, visit = m_visit](bool worked) {
        if (visit != m_visit) return;
        if (!worked)
            Log::write(QStringLiteral("account: the desktop does not take Murlo as the program for "
                                      "its addresses"));
        open();
    }));
}

void BrowserSession::open() {
    const auto show = [this] {
        m_with.desktop.open(m_page.toString(QUrl::FullyEncoded),
                            m_lifetime.guard([this, visit = m_visit](bool worked) {
                                if (visit == m_visit && !worked)
                                    end({SignInError::failedToStart, {}});
                            }));
    };
    const auto here = LoopbackPort::of(m_page);
    if (!here) {
        show();
        return;
    }
    using Listener = LocalService::Listener;
    const auto go = [this, show](Listener listener) {
        if (listener == Listener::self) {
            show();
            return;
        }
        const bool isTaken = listener != Listener::nobody;
        Log::write(isTaken
                       ? QStringLiteral("account: the backend's port belongs to another user of "
                                        "this computer; murlo.conf can name another")
                       : QStringLiteral("account: no backend could be started on this computer"));
        end({isTaken ? SignInError::portTaken : SignInError::failedToStart, {}});
    };
    const Listener listener = m_with.local.listener(*here);
    if (listener != Listener::nobody) {
        go(listener);
        return;
    }
    m_with.local.start(*here, m_lifetime.guard([this, visit = m_visit, go](Listener started) {
        if (visit == m_visit && isWaiting()) go(started);
    }));
}

void BrowserSession::openAgain() {
    if (isWaiting()) open();
}

void BrowserSession::cancel() {
    if (isWaiting()) end({SignInError::cancelled, {}});
}

void BrowserSession::take(const QString& address) {
    const auto came = m_came; // a copy: it may start another visit
    if (came && isCallback(address, m_callback))
        came(QUrl(address));
    else
        Log::write(QStringLiteral("account: an answer from a browser that nobody waits for"));
}

bool BrowserSession::isCallback(const QString& argument, const QString& callback) {
    if (callback.isEmpty() || !argument.startsWith(callback, Qt::CaseInsensitive)) return false;
    const qsizetype scheme = callback.indexOf(QLatin1Char(':'));
    if (argument.mid(scheme, callback.size() - scheme) != callback.mid(scheme)) return false;
    const QString rest = argument.mid(callback.size());
    return rest.isEmpty() || rest.startsWith(QLatin1Char('?')) || rest.startsWith(QLatin1Char('#'));
}

void BrowserSession::finish() {
    if (isWaiting()) clear();
}

void BrowserSession::end(const SignInError& why) {
    const auto ended = m_ended;
    clear();
    if (ended) ended(why);
}

void BrowserSession::clear() {
    m_limit.cancel();
    m_came = nullptr;
    m_ended = nullptr;
    ++m_visit;
    Q_EMIT waitingChanged();
}

} // namespace murlo
