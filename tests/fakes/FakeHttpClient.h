#pragma once

#include "platform/HttpClient.h"

#include <vector>

namespace murlo {

/// A client whose requests wait until the test answers them. Without a delay requests never time
/// out.
class FakeHttpClient : public HttpClient {
    struct Exchange {
        HttpRequest request;
        std::function<void(HttpResult)> completion; ///< gone once answered or cancelled
        ScheduledWork limit;
    };
    using Exchanges = std::vector<std::shared_ptr<Exchange>>;

public:
    explicit FakeHttpClient(Delay delay = {},
                            std::shared_ptr<Exchanges> exchanges = std::make_shared<Exchanges>())
        : m_delay(std::move(delay))
        , m_exchanges(std::move(exchanges)) {}

    [[nodiscard]] std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) override {
        const auto exchange = std::make_shared<Exchange>();
        exchange->request = request;
        exchange->completion = std::move(completion);
        if (m_delay) {
            exchange->limit = m_delay(request.timeout, [late = exchange.get()] {
                complete(*late, failure(QStringLiteral("The request timed out."),
                                        NetworkFailure::timedOut));
            });
        }
        m_exchanges->push_back(exchange);
        return std::make_unique<Task>(exchange);
    }

    /// Makes clients whose requests come here, each with the time limits of its own thread.
    [[nodiscard]] MakeHttpClient maker() {
        return [exchanges = m_exchanges](Delay delay) {
            return std::make_unique<FakeHttpClient>(std::move(delay), exchanges);
        };
    }

    /// Every request so far, also of clients from `maker`.
    [[nodiscard]] QList<HttpRequest> sent() const { return requests(false); }
    /// Those that were neither answered nor cancelled, oldest first.
    [[nodiscard]] QList<HttpRequest> waiting() const { return requests(true); }

    /// Answers the oldest waiting request whose path begins with `path`; false when there is none.
    bool answer(int status, const QByteArray& body, const QString& path = {}) {
        return settle(HttpResponse{status, body}, path);
    }
    /// The same with headers.
    bool answer(const HttpResponse& response) { return settle(response, {}); }
    /// Lets the oldest waiting request fail.
    bool fail(const QString& description, NetworkFailure kind = NetworkFailure::other) {
        return settle(failure(description, kind), {});
    }

private:
    class Task : public HttpTask {
    public:
        explicit Task(std::shared_ptr<Exchange> exchange)
            : m_exchange(std::move(exchange)) {}
        ~Task() override { Task::cancel(); }
        void cancel() override {
            m_exchange->completion = nullptr;
            m_exchange->limit.cancel();
        }

    private:
        std::shared_ptr<Exchange> m_exchange;
    };

    static HttpResult failure(const QString& description, NetworkFailure kind) {
        return tl::unexpected(HttpError{description, QStringLiteral("fake"), 1, kind});
    }
    /// A response as its request wants it: of a stream, the body goes to the callbacks.
    static HttpResult passOn(const Exchange& exchange, HttpResponse response) {
        const HttpRequest request = exchange.request;
        if (!request.piece) return response;
        const QByteArray body = std::exchange(response.body, {});
        const bool wanted = (!request.head || request.head(response)) && exchange.completion &&
                            (body.isEmpty() || request.piece(body));
        if (wanted) return response;
        return failure(QStringLiteral("The transfer was broken off."), NetworkFailure::other);
    }
    static void complete(Exchange& exchange, HttpResult result) {
        const auto completion = std::exchange(exchange.completion, nullptr);
        exchange.limit.cancel();
        completion(std::move(result));
    }
    bool settle(HttpResult result, const QString& path) {
        for (const auto& exchange : Exchanges(*m_exchanges)) {
            if (!exchange->completion || !exchange->request.url.path().startsWith(path)) continue;
            if (result) result = passOn(*exchange, std::move(*result));
            if (exchange->completion) complete(*exchange, std::move(result));
            return true;
        }
        return false;
    }
    [[nodiscard]] QList<HttpRequest> requests(bool onlyWaiting) const {
        QList<HttpRequest> found;
        for (const auto& exchange : *m_exchanges)
            if (exchange->completion || !onlyWaiting) found << exchange->request;
        return found;
    }

    Delay m_delay;
    std::shared_ptr<Exchanges> m_exchanges; ///< shared with the clients of `maker`
};

} // namespace murlo
