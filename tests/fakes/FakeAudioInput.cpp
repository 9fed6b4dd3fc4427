#include "tests/fakes/FakeAudioInput.h"

#include <algorithm>
#include <atomic>

namespace murlo {

namespace {

using Observer = std::function<void()>;

void tell(const std::weak_ptr<Observer>& observer) {
    if (const auto alive = observer.lock(); alive && *alive) (*alive)();
}

} // namespace

class FakeAudioInput::Engine : public AudioEngine {
public:
    Engine(FakeAudioInput& input, Script script)
        : m_input(input)
        , m_script(std::move(script)) {}

    [[nodiscard]] AudioFormat inputFormat() override {
        if (isOpen()) return m_format;
        if (m_script.whileOpening) m_script.whileOpening();
        const std::scoped_lock guard(m_input.m_lock, m_tapLock);
        m_format = m_input.m_device;
        m_open = m_format.sampleRate > 0;
        return m_format;
    }
    [[nodiscard]] tl::expected<void, PlatformError> installTap(std::size_t frames,
                                                               Tap tap) override {
        if (m_script.tapError) return tl::unexpected(*m_script.tapError);
        const std::lock_guard guard(m_tapLock);
        if (!isOpen() || m_tap || frames == 0) return tl::unexpected(PlatformError{{}, {}, 1});
        m_tap = std::move(tap);
        m_tapFrames = frames;
        return {};
    }
    void removeTap() override {
        const std::lock_guard guard(m_tapLock);
        m_tap = {};
    }
    [[nodiscard]] tl::expected<void, PlatformError> start() override {
        if (m_script.startError) return tl::unexpected(*m_script.startError);
        if (!isOpen()) return tl::unexpected(PlatformError{{}, {}, 2});
        m_running = true;
        if (m_script.whileStarting) m_script.whileStarting();
        return {};
    }
    void stop() override {
        const std::lock_guard guard(m_tapLock); // the piece that is being heard is the last
        m_running = false;
    }
    [[nodiscard]] bool isRunning() const override { return m_running; }
    [[nodiscard]] bool isOpen() const { return m_open; }
    void observeConfigurationChange(std::function<void()> changed) override {
        auto observer = std::make_shared<Observer>(std::move(changed));
        const std::lock_guard guard(m_tapLock);
        m_observer.swap(observer);
    }

    void hear(std::span<const float> interleaved, std::size_t pieceFrames) {
        const std::lock_guard guard(m_tapLock);
        const auto channels = static_cast<std::size_t>(m_format.channels);
        while (m_running && m_tap && !interleaved.empty()) {
            const std::size_t frames =
                std::min({interleaved.size() / channels, pieceFrames, m_tapFrames});
            m_tap({interleaved.data(), frames, m_format});
            interleaved = interleaved.subspan(frames * channels);
        }
    }
    void change(bool lost) {
        if (lost) m_open = false;
        if (!(lost ? m_running.exchange(false) : m_running.load())) return;
        const std::lock_guard guard(m_tapLock);
        m_input.m_scheduler.nextTurn([observer = std::weak_ptr(m_observer)] { tell(observer); });
    }

private:
    FakeAudioInput& m_input;
    Script m_script;
    AudioFormat m_format;
    std::atomic<bool> m_open = false;
    std::atomic<bool> m_running = false;
    std::mutex m_tapLock;
    Tap m_tap;
    std::size_t m_tapFrames = 0;
    std::shared_ptr<Observer> m_observer;
};

std::shared_ptr<AudioEngine> FakeAudioInput::makeEngine() {
    const std::lock_guard guard(m_lock);
    Script script;
    if (!m_scripts.empty()) {
        script = std::move(m_scripts.front());
        m_scripts.pop_front();
    }
    auto engine = std::make_shared<Engine>(*this, std::move(script));
    m_engines.push_back(engine);
    return engine;
}

std::shared_ptr<void> FakeAudioInput::observeDefaultInput(std::function<void()> changed) {
    auto observer = std::make_shared<Observer>(std::move(changed));
    m_observers.push_back(observer);
    return observer;
}

void FakeAudioInput::plug(AudioFormat format) {
    {
        const std::lock_guard guard(m_lock);
        m_device = format;
    }
    m_scheduler.nextTurn(m_lifetime.guard([this] {
        const auto observers = m_observers;
        for (const auto& observer : observers) tell(observer);
    }));
}

void FakeAudioInput::unplug() {
    plug({});
    for (const auto& engine : present()) engine->change(true);
}

void FakeAudioInput::renegotiate() {
    for (const auto& engine : present()) engine->change(false);
}

void FakeAudioInput::speak(std::span<const float> interleaved, std::size_t pieceFrames) {
    for (const auto& engine : present()) engine->hear(interleaved, pieceFrames);
}

std::vector<std::shared_ptr<FakeAudioInput::Engine>> FakeAudioInput::present() const {
    std::vector<std::shared_ptr<Engine>> result;
    const std::lock_guard guard(m_lock);
    for (const auto& engine : m_engines) {
        if (auto alive = engine.lock()) result.push_back(std::move(alive));
    }
    return result;
}

int FakeAudioInput::enginesMade() const {
    const std::lock_guard guard(m_lock);
    return static_cast<int>(m_engines.size());
}
int FakeAudioInput::engines() const {
    return static_cast<int>(present().size());
}
int FakeAudioInput::openEngines() const {
    return static_cast<int>(std::ranges::count_if(present(), &Engine::isOpen));
}
int FakeAudioInput::flowingEngines() const {
    return static_cast<int>(std::ranges::count_if(present(), &Engine::isRunning));
}

} // namespace murlo
