#include "dictation/recording/Capture.h"

#include "dictation/recording/AudioConverter.h"
#include "dictation/recording/SampleStore.h"
#include "support/Log.h"

#include <cmath>

namespace murlo {

namespace {

constexpr std::size_t tapFrames = 4096;

} // namespace

/// The processing chain on the audio thread: converter, sample store, level meter.
class Capture::Chain {
public:
    Chain(std::unique_ptr<AudioConverter> converter, std::shared_ptr<SampleStore> samples,
          std::function<void(float)> level)
        : m_converter(std::move(converter))
        , m_samples(std::move(samples))
        , m_level(std::move(level)) {}

    void append(const AudioBuffer& buffer) {
        const auto converted = m_converter->convert(buffer);
        if (!converted) return logFailure(converted.error());
        m_samples->append(*converted);
        measure(*converted, buffer.frames);
    }

    void flush() {
        const auto rest = m_converter->flush();
        if (!rest) return logFailure(rest.error());
        m_samples->append(*rest);
    }

private:
    static void logFailure(const QString& description) {
        Log::write(QStringLiteral("audio: conversion failed: ") + description);
    }

    /// The platform's buffers may be much shorter than the tap's; levels keep the tap's pace.
    void measure(std::span<const float> converted, std::size_t inputFrames) {
        for (const float x : converted) m_sumOfSquares += static_cast<double>(x) * x;
        m_measured += converted.size();
        m_inputFrames += inputFrames;
        if (m_inputFrames < tapFrames || m_measured == 0) return;
        m_level(static_cast<float>(std::sqrt(m_sumOfSquares / static_cast<double>(m_measured))));
        m_sumOfSquares = 0;
        m_measured = 0;
        m_inputFrames = 0;
    }

    std::unique_ptr<AudioConverter> m_converter;
    std::shared_ptr<SampleStore> m_samples;
    std::function<void(float)> m_level;
    double m_sumOfSquares = 0;
    std::size_t m_measured = 0;
    std::size_t m_inputFrames = 0;
};

tl::expected<std::unique_ptr<Capture>, RecorderError>
Capture::begin(std::shared_ptr<AudioEngine> engine, std::shared_ptr<SampleStore> samples,
               Receivers receivers) {
    const AudioFormat format = engine->inputFormat();
    if (!(format.sampleRate > 0)) return tl::unexpected(RecorderError::noInputDevice());
    auto converter = AudioConverter::make(format);
    if (!converter) return tl::unexpected(RecorderError::unsupportedFormat());

    auto chain = std::make_shared<Chain>(std::move(converter), std::move(samples),
                                         std::move(receivers.level));
    const auto installed = engine->installTap(
        tapFrames, [chain](const AudioBuffer& buffer) { chain->append(buffer); });
    if (!installed) {
        const QString& why = installed.error().description;
        Log::write(QStringLiteral("audio: tap install failed: ") + why);
        receivers.tapFailed(why);
        return tl::unexpected(RecorderError::inputChanged());
    }
    if (const auto started = engine->start(); !started) {
        engine->removeTap();
        return tl::unexpected(RecorderError::from(started.error()));
    }
    return std::unique_ptr<Capture>(new Capture(std::move(engine), std::move(chain)));
}

Capture::Capture(std::shared_ptr<AudioEngine> engine, std::shared_ptr<Chain> chain)
    : m_engine(std::move(engine))
    , m_chain(std::move(chain)) {}

Capture::~Capture() {
    finish();
}

std::shared_ptr<AudioEngine> Capture::finish() {
    if (!m_engine) return nullptr;
    m_engine->observeConfigurationChange({});
    m_engine->removeTap();
    m_engine->stop();
    m_chain->flush();
    return std::exchange(m_engine, nullptr);
}

} // namespace murlo
