#include "MurloBackend/outgoing/NetworkOutgoing.h"

#include <QCoreApplication>
#include <QHostAddress>
#include <QNetworkAccessManager>
#include <QNetworkProxyFactory>
#include <QNetworkReply>
#include <QTimer>

#include <deque>
#include <future>
#include <mutex>

namespace murlo::backend {

namespace {

using Done = std::function<void(Outgoing::Result)>;

class ProxyOutsideLoopback : public QNetworkProxyFactory {
public:
    QList<QNetworkProxy> queryProxy(const QNetworkProxyQuery& query) override {
        if (QHostAddress(query.peerHostName()).isLoopback()) return {QNetworkProxy::NoProxy};
        return systemProxyForQuery(query);
    }
};

QNetworkRequest toLibrary(const OutgoingRequest& request) {
    QNetworkRequest result(request.url);
    result.setAttribute(QNetworkRequest::CacheLoadControlAttribute, QNetworkRequest::AlwaysNetwork);
    result.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    result.setAttribute(QNetworkRequest::CookieLoadControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::CookieSaveControlAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::AuthenticationReuseAttribute, QNetworkRequest::Manual);
    result.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                        QNetworkRequest::ManualRedirectPolicy);
    // A compressed answer could grow beyond every limit while it is unpacked.
    result.setRawHeader("Accept-Encoding", "identity");
    for (const auto& [name, value] : request.headers) result.setRawHeader(name, value);
    return result;
}

} // namespace

bool Outgoing::mayAsk(const QUrl& url) {
    if (!url.isValid() || url.host().isEmpty()) return false;
    return url.scheme() == QLatin1String("https") ||
           (url.scheme() == QLatin1String("http") && QHostAddress(url.host()).isLoopback());
}

/// Owns the exchanges under way. But for `post`, on the network thread alone.
class NetworkOutgoing::Worker : public QObject {
public:
    Worker() { m_network.setProxyFactory(new ProxyOutsideLoopback); } // the manager owns it

    /// Has this done on the network thread, in the order of the calls. Any thread.
    void post(std::function<void()> work) {
        {
            const std::lock_guard guard(m_lock);
            m_inbox.push_back(std::move(work));
        }
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }
    void begin(const OutgoingRequest& request, Done done) {
        if (m_ending) return done(tl::unexpected(OutgoingFault::unreachable));
        const QNetworkRequest prepared = toLibrary(request);
        QNetworkReply* reply = request.method == "POST" ? m_network.post(prepared, request.body)
                                                        : m_network.get(prepared);
        m_underWay[reply] = std::move(done);
        connect(reply, &QNetworkReply::finished, this, [this, reply] { finish(reply); });
        connect(reply, &QNetworkReply::readyRead, this, [this, reply] {
            if (reply->bytesAvailable() > largestBody) end(reply, OutgoingFault::tooLarge);
        });
        QTimer::singleShot(static_cast<int>(request.timeout * 1000), reply,
                           [this, reply] { end(reply, OutgoingFault::timedOut); });
    }
    void endAll() {
        m_ending = true;
        const QList<QNetworkReply*> replies = m_underWay.keys();
        for (QNetworkReply* reply : replies) end(reply, OutgoingFault::unreachable);
    }

protected:
    void customEvent(QEvent* /*ours*/) override {
        std::function<void()> work;
        {
            const std::lock_guard guard(m_lock);
            work = std::move(m_inbox.front()); // each has an event of its own
            m_inbox.pop_front();
        }
        work();
    }

private:
    void finish(QNetworkReply* reply) {
        const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
        // Qt's codes from 200 on say that the status of a whole answer is an error.
        const QNetworkReply::NetworkError code = reply->error();
        const bool whole = status != 0 && (code == QNetworkReply::NoError ||
                                           (code >= QNetworkReply::ContentAccessDenied &&
                                            code != QNetworkReply::ProtocolUnknownError &&
                                            code != QNetworkReply::ProtocolFailure));
        if (!whole) return end(reply, OutgoingFault::unreachable);
        if (reply->bytesAvailable() > largestBody) return end(reply, OutgoingFault::tooLarge);
        end(reply, OutgoingResponse{status, reply->readAll(), reply->rawHeaderPairs()});
    }
    void end(QNetworkReply* reply, OutgoingFault fault) { end(reply, tl::unexpected(fault)); }
    void end(QNetworkReply* reply, Result result) {
        const Done done = m_underWay.take(reply);
        if (!done) return;
        reply->disconnect(this);
        if (!reply->isFinished()) reply->abort();
        reply->deleteLater();
        done(std::move(result));
    }

    std::mutex m_lock;
    std::deque<std::function<void()>> m_inbox; ///< behind the lock
    QNetworkAccessManager m_network{this};
    QHash<QNetworkReply*, Done> m_underWay;
    bool m_ending = false;
};

NetworkOutgoing::NetworkOutgoing()
    : m_worker(new Worker) {
    m_worker->moveToThread(&m_thread);
    m_thread.setObjectName(QStringLiteral("outgoing"));
    m_thread.start();
}

NetworkOutgoing::~NetworkOutgoing() {
    // Destroyed where it lives: a network manager and its sockets belong to their thread.
    std::promise<void> ended;
    m_worker->post([worker = m_worker, &ended] {
        worker->endAll();
        worker->post([worker, &ended] { // after what completions have sent meanwhile
            worker->deleteLater();
            worker->thread()->quit();
            ended.set_value();
        });
    });
    ended.get_future().wait();
    m_thread.wait();
}

void NetworkOutgoing::send(OutgoingRequest request, std::function<void(Result)> done) {
    if (!mayAsk(request.url)) return done(tl::unexpected(OutgoingFault::forbidden));
    m_worker->post([worker = m_worker, asked = std::move(request), answered = std::move(done)] {
        worker->begin(asked, answered);
    });
}

} // namespace murlo::backend
