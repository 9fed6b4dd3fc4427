#pragma once

#include "MurloBackend/outgoing/Outgoing.h"

#include <QHash>
#include <QUrl>

#include <vector>

namespace murlo::backend {

/// Answers requests from a table of addresses, at once or when told; what is not in it is
/// unreachable.
class FakeOutgoing : public Outgoing {
public:
    QHash<QUrl, Result> answers;
    std::vector<OutgoingRequest> requests; ///< all so far
    bool held = false;                     ///< answers wait for `release`

    void send(OutgoingRequest request, std::function<void(Result)> done) override {
        requests.push_back(request);
        m_waiting.push_back([this, url = request.url, done = std::move(done)] {
            done(answers.value(url, tl::unexpected(OutgoingFault::unreachable)));
        });
        if (!held) release();
    }
    void release() {
        held = false;
        while (!m_waiting.empty()) {
            const auto waiting = std::exchange(m_waiting, {});
            for (const auto& answer : waiting) answer();
        }
    }

private:
    std::vector<std::function<void()>> m_waiting;
};

} // namespace murlo::backend
