#include "Figures.h"
#include "backend/AccountClient.h"
#include "backend/LoopbackGuard.h"
#include "platform/Platform.h"
#include "tests/harness/LoopbackServer.h"
#include "tests/harness/desktop/Waiting.h"

#include <QNetworkAccessManager>
#include <QNetworkReply>

namespace murlo {

namespace {

constexpr int requests = 300;
const QString text(QStringLiteral("A sentence of the length that people say, more or less."));

QNetworkRequest bareRequest(const QUrl& url) {
    QNetworkRequest request(url);
    request.setRawHeader("Content-Type", "application/json");
    request.setRawHeader("Authorization", "Bearer bench");
    request.setRawHeader("Connection", "close"); // as the client does on loopback
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    return request;
}

} // namespace

/// One request of the client to a backend of this computer, beside one of Qt's own.
QList<Figure> accountFigures() {
    progress(QStringLiteral("requests to a backend"));
    LoopbackServer server;
    server.answer.body = R"({"text":"rewritten"})";
    const Platform platform = loadPlatform();
    LoopbackGuard guard(*platform.network, *platform.localService, *platform.scheduler);
    AccountClient client({guard, *platform.scheduler}, server.url().adjusted(QUrl::RemovePath),
                         QStringLiteral("bench"));
    client.apiKey = [] { return KeyAnswer{KeyAnswer::present, QStringLiteral("bench")}; };
    QNetworkAccessManager bare;
    const QUrl url(server.url().toString(QUrl::RemovePath) + QStringLiteral("/polish"));
    QList<double> ours;
    QList<double> theirs;
    for (int i = 0; i < requests; ++i) { // in turn, so that noise meets both
        bool done = false;
        double start = seconds();
        const auto request = client.polish(text, {}, 10, [&](const auto&) { done = true; });
        (void)waitFor([&] { return done; }, 10000, 0);
        ours << seconds() - start;
        start = seconds();
        const std::unique_ptr<QNetworkReply> reply(
            bare.post(bareRequest(url), "{\"text\":\"" + text.toUtf8() + "\"}"));
        (void)waitFor([&] { return reply->isFinished(); }, 10000, 0);
        theirs << seconds() - start;
    }
    return {{QStringLiteral("a request to the backend of this computer"), median(ours) * 1000,
             QStringLiteral("ms"), median(theirs) * 1000,
             QStringLiteral("a bare request of Qt's")}};
}

} // namespace murlo
