#include "platform/linux/pulse/PulseConnection.h"

#include <algorithm>
#include <chrono>

namespace murlo {

namespace {

constexpr pa_usec_t firstRetry = 250 * PA_USEC_PER_MSEC;
constexpr int mostDoublings = 6; // 16 s

PulseConnection& self(void* userdata) {
    return *static_cast<PulseConnection*>(userdata);
}

} // namespace

PulseConnection::PulseConnection()
    : m_loop(pa_threaded_mainloop_new()) {
    pa_threaded_mainloop_set_name(m_loop, "murlo.sound");
    pa_threaded_mainloop_start(m_loop);
    const Lock lock(*this);
    open();
}

PulseConnection::~PulseConnection() {
    {
        const Lock lock(*this);
        m_observer = {};
        drop();
        if (m_retry != nullptr) pa_threaded_mainloop_get_api(m_loop)->time_free(m_retry);
    }
    pa_threaded_mainloop_stop(m_loop);
    pa_threaded_mainloop_free(m_loop);
}

void PulseConnection::open() {
    drop();
    m_context = pa_context_new(pa_threaded_mainloop_get_api(m_loop), "Murlo");
    const auto onState = [](pa_context*, void* connection) { self(connection).contextChanged(); };
    pa_context_set_state_callback(m_context, onState, this);
    // The session starts the sound server, not this program.
    const int result = pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr);
    if (result < 0 && m_retry == nullptr) contextChanged();
}

void PulseConnection::drop() {
    m_ready = false;
    if (m_context == nullptr) return;
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
    m_context = nullptr;
}

void PulseConnection::contextChanged() {
    switch (pa_context_get_state(m_context)) {
    case PA_CONTEXT_READY: {
        m_ready = true;
        m_attempts = 0;
        const auto onEvent = [](pa_context*, pa_subscription_event_type_t, uint32_t,
                                void* connection) { self(connection).askDefaultSource(); };
        pa_context_set_subscribe_callback(m_context, onEvent, this);
        if (auto* asked =
                pa_context_subscribe(m_context, PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr)) {
            pa_operation_unref(asked);
        }
        askDefaultSource();
        break;
    }
    case PA_CONTEXT_FAILED:
    case PA_CONTEXT_TERMINATED:
        m_ready = false;
        m_isNewsToCome = true;
        m_defaultSource.reset();
        retryLater();
        break;
    default:
        break;
    }
    changed();
}

void PulseConnection::retryLater() {
    pa_mainloop_api* api = pa_threaded_mainloop_get_api(m_loop);
    timeval due;
    pa_timeval_add(pa_gettimeofday(&due), firstRetry << std::min(m_attempts++, mostDoublings));
    if (m_retry != nullptr) {
        api->time_restart(m_retry, &due);
        return;
    }
    const auto onDue = [](pa_mainloop_api* loop, pa_time_event* event, const timeval*,
                          void* connection) {
        loop->time_free(event);
        self(connection).m_retry = nullptr;
        self(connection).open();
    };
    m_retry = api->time_new(api, &due, onDue, this);
}

void PulseConnection::askDefaultSource() {
    const auto onAnswer = [](pa_context*, const pa_server_info* server, void* connection) {
        if (server != nullptr) self(connection).learnDefaultSource(*server);
    };
    if (auto* asked = pa_context_get_server_info(m_context, onAnswer, this))
        pa_operation_unref(asked);
}

void PulseConnection::learnDefaultSource(const pa_server_info& server) {
    const std::string name =
        server.default_source_name != nullptr ? server.default_source_name : "";
    const bool isNews = m_isNewsToCome || (m_defaultSource && *m_defaultSource != name);
    m_isNewsToCome = false;
    m_defaultSource = name;
    if (isNews && m_observer) m_observer();
    changed();
}

bool PulseConnection::connect(double seconds) {
    {
        const Lock lock(*this);
        if (m_ready) return true;
        // A retry is scheduled: connect now instead.
        if (m_retry != nullptr) {
            pa_threaded_mainloop_get_api(m_loop)->time_free(m_retry);
            m_retry = nullptr;
            open();
        }
    }
    waitFor(seconds, [this] { return m_ready || m_retry != nullptr; });
    const Lock lock(*this);
    return m_ready;
}

bool PulseConnection::waitFor(double seconds, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        quint64 seen = 0;
        {
            const std::lock_guard guard(m_changeLock);
            seen = m_changes;
        }
        {
            const Lock lock(*this);
            if (condition()) return true;
        }
        std::unique_lock guard(m_changeLock);
        if (!m_change.wait_until(guard, deadline, [&] { return m_changes != seen; })) return false;
    }
}

void PulseConnection::changed() {
    {
        const std::lock_guard guard(m_changeLock);
        ++m_changes;
    }
    m_change.notify_all();
}

} // namespace murlo
