#include "platform/linux/pulse/PulseAudioInput.h"

#include "platform/linux/pulse/PulseEngine.h"

#include <vector>

namespace murlo {

/// Main thread only. Observers unsubscribe by releasing their function.
struct PulseAudioInput::Observers {
    std::vector<std::weak_ptr<std::function<void()>>> functions;

    void call() {
        std::erase_if(functions, [](const auto& function) { return function.expired(); });
        const auto present = functions; // a copy, since a callback may change the list
        for (const auto& function : present) {
            if (const auto alive = function.lock()) (*alive)();
        }
    }
};

PulseAudioInput::PulseAudioInput(Scheduler& scheduler, std::shared_ptr<PulseConnection> connection)
    : m_scheduler(scheduler)
    , m_connection(std::move(connection))
    , m_observers(std::make_shared<Observers>()) {
    const PulseConnection::Lock lock(*m_connection);
    m_connection->setDefaultSourceObserver(
        [&to = m_scheduler, observers = std::weak_ptr(m_observers)] {
            to.nextTurn([observers] {
                if (const auto alive = observers.lock()) alive->call();
            });
        });
}

PulseAudioInput::~PulseAudioInput() {
    const PulseConnection::Lock lock(*m_connection);
    m_connection->setDefaultSourceObserver({});
}

std::shared_ptr<AudioEngine> PulseAudioInput::makeEngine() {
    return std::make_shared<PulseEngine>(m_scheduler, m_connection);
}

std::shared_ptr<void> PulseAudioInput::observeDefaultInput(std::function<void()> changed) {
    auto function = std::make_shared<std::function<void()>>(std::move(changed));
    m_observers->functions.push_back(function);
    return function;
}

} // namespace murlo
