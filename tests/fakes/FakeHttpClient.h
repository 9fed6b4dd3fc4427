#pragma once

#include "platform/HttpClient.h"

#include <QStringList>

namespace murlo {

/// A client whose requests wait until the test answers them. Without a delay they never time out.
class FakeHttpClient : public HttpClient {
public:
    explicit FakeHttpClient(Delay delay = {})
        : m_delay(std::move(delay))
        , m_exchanges(std::make_shared<Exchanges>()) {}

    ~FakeHttpClient() override {
        for (const auto& exchange : m_own) Task(exchange).cancel();
    }

    [[nodiscard]] std::unique_ptr<HttpTask>
    send(const HttpRequest& request, std::function<void(HttpResult)> completion) override {
        auto exchange = std::make_shared<Exchange>();
        exchange->request = request;
        exchange->completion = std::move(completion);
        if (m_delay) {
            exchange->limit = m_delay(request.timeout, [weak = std::weak_ptr(exchange)] {
                const auto late = weak.lock();
                if (late) complete(*late, failure(QStringLiteral("The request timed out.")));
            });
        }
        m_exchanges->push_back(exchange);
        m_own.push_back(exchange);
        return std::make_unique<Task>(std::move(exchange));
    }

    /// Makes clients whose requests come here, each with the time limits of its own thread.
    [[nodiscard]] MakeHttpClient maker() {
        return [exchanges = m_exchanges](Delay delay) {
            auto client = std::make_unique<FakeHttpClient>(std::move(delay));
            client->m_exchanges = exchanges;
            return client;
        };
    }

    /// Every request so far, also of clients from `maker`.
    [[nodiscard]] QList<HttpRequest> sent() const {
        QList<HttpRequest> requests;
        for (const auto& exchange : *m_exchanges) requests << exchange->request;
        return requests;
    }
    /// Those that were neither answered nor cancelled, oldest first.
    [[nodiscard]] QList<HttpRequest> waiting() const {
        QList<HttpRequest> requests;
        for (const auto& exchange : *m_exchanges) {
            if (exchange->completion) requests << exchange->request;
        }
        return requests;
    }

    /// Answers the oldest waiting request whose path begins with `path`; false when there is none.
    bool answer(int status, const QByteArray& body, const QString& path = {},
                const QList<HttpHeader>& headers = {}) {
        return settle(HttpResponse{status, body, headers}, path);
    }
    /// Lets it fail.
    bool fail(const QString& description, const QString& path = {}) {
        return settle(failure(description), path);
    }

private:
    struct Exchange {
        HttpRequest request;
        std::function<void(HttpResult)> completion; ///< gone once answered or cancelled
        ScheduledWork limit;
    };
    using Exchanges = std::vector<std::shared_ptr<Exchange>>;

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

    static HttpResult failure(const QString& description) {
        return tl::unexpected(HttpError{description, QStringLiteral("fake"), 1});
    }
    static void complete(Exchange& exchange, HttpResult result) {
        exchange.limit.cancel();
        if (result && exchange.request.piece) {
            const QByteArray body = std::exchange(result->body, {});
            const auto head = exchange.request.head;
            bool wanted = !head || head(*result);
            wanted = wanted && exchange.completion && exchange.request.piece(body);
            if (!wanted) result = failure(QStringLiteral("The transfer was broken off."));
        }
        const auto completion = std::exchange(exchange.completion, nullptr);
        if (completion) completion(std::move(result));
    }
    bool settle(HttpResult result, const QString& path) {
        for (const auto& exchange : Exchanges(*m_exchanges)) {
            if (!exchange->completion || !exchange->request.url.path().startsWith(path)) continue;
            complete(*exchange, std::move(result));
            return true;
        }
        return false;
    }

    Delay m_delay;
    std::shared_ptr<Exchanges> m_exchanges; ///< shared with the clients of `maker`
    Exchanges m_own;
};

} // namespace murlo
