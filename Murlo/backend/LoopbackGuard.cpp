#include "backend/LoopbackGuard.h"

#include "platform/LocalService.h"
#include "platform/Scheduler.h"

namespace murlo {

namespace {

using Listener = LocalService::Listener;

/// A request that waits until it is known who listens.
class Passage : public HttpTask {
public:
    Passage(HttpClient& http, Scheduler& scheduler, HttpRequest request,
            std::function<void(HttpResult)> completion)
        : m_http(http)
        , m_scheduler(scheduler)
        , m_deadline(scheduler.uptime() + request.timeout)
        , m_request(std::move(request))
        , m_completion(std::move(completion)) {
        m_limit = scheduler.after(m_request.timeout, [this] { fail("The request timed out."); });
    }

    /// Tells who listens; on a later turn than the sending, unless it is this user.
    void pass(Listener listener) {
        if (!m_completion) return;
        if (listener == Listener::self) {
            m_limit.cancel();
            m_request.timeout = m_deadline - m_scheduler.uptime();
            m_task = m_http.send(m_request, std::exchange(m_completion, nullptr));
        } else if (listener == Listener::stranger) {
            fail("The backend's port belongs to another user of this computer.");
        } else {
            fail("No backend runs on this computer.");
        }
    }
    void passLater(Listener listener) {
        m_scheduler.nextTurn(m_lifetime.guard([this, listener] { pass(listener); }));
    }
    [[nodiscard]] std::function<void(Listener)> whenStarted() {
        return m_lifetime.guard([this](Listener listener) { pass(listener); });
    }
    void cancel() override {
        m_limit.cancel();
        m_completion = nullptr;
        m_task.reset();
    }

private:
    void fail(const char* words) {
        const auto completion = std::exchange(m_completion, nullptr);
        m_limit.cancel();
        completion(tl::unexpected(HttpError{QLatin1String(words), QStringLiteral("loopback")}));
    }

    HttpClient& m_http;
    Scheduler& m_scheduler;
    double m_deadline; ///< on the scheduler's uptime
    HttpRequest m_request;
    std::function<void(HttpResult)> m_completion; ///< null once sent, failed or cancelled
    ScheduledWork m_limit;                        ///< until it is sent
    std::unique_ptr<HttpTask> m_task;
    Lifetime m_lifetime;
};

} // namespace

std::unique_ptr<HttpTask> LoopbackGuard::send(const HttpRequest& request,
                                              std::function<void(HttpResult)> completion) {
    const auto at = LoopbackPort::of(request.url);
    if (!at) return m_http.send(request, std::move(completion));
    const Listener listener = m_local.listener(*at);
    if (listener == Listener::self) return m_http.send(request, std::move(completion));
    auto passage = std::make_unique<Passage>(m_http, m_scheduler, request, std::move(completion));
    if (listener == Listener::stranger)
        passage->passLater(listener);
    else
        m_local.start(*at, passage->whenStarted());
    return passage;
}

} // namespace murlo
