#pragma once

#ifndef Q_MOC_RUN // it cannot parse the standard library's concepts
#include <coroutine>
#endif
#include <memory>
#include <optional>
#include <utility>

namespace murlo {

/// A value that comes later, for a coroutine to wait for: `co_await` it once, and hand `settle` to
/// whoever provides the value. Only the first value counts. The coroutine goes on within `settle`.
/// Whoever starts a coroutine sees to it that everything it may wait for is settled when its owner
/// ends; a frame that waits for ever is never freed. One thread.
template <typename Value>
class Awaited {
    struct State {
        std::optional<Value> value;
        std::coroutine_handle<> waiting;
        bool taken = false;
    };

public:
    /// Provides the value; a copyable function object.
    class Settle {
    public:
        void operator()(Value value) const {
            const auto state = m_state;
            if (state->value || state->taken) return;
            state->value = std::move(value);
            if (const auto waiting = std::exchange(state->waiting, {})) waiting.resume();
        }

    private:
        friend class Awaited;
        explicit Settle(std::shared_ptr<State> state)
            : m_state(std::move(state)) {}
        std::shared_ptr<State> m_state;
    };

    [[nodiscard]] Settle settle() const { return Settle(m_state); }

    [[nodiscard]] bool await_ready() const noexcept { return m_state->value.has_value(); }
    void await_suspend(std::coroutine_handle<> waiting) const noexcept {
        m_state->waiting = waiting;
    }
    [[nodiscard]] Value await_resume() const {
        m_state->taken = true;
        return std::move(*m_state->value);
    }

private:
    std::shared_ptr<State> m_state = std::make_shared<State>();
};

} // namespace murlo
