#include "dictation/recording/AudioConverter.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>

namespace murlo {

namespace {

/// Room for what the resampler may hand out beyond the share of the current input.
constexpr std::size_t spareFrames = 4096;

} // namespace

std::unique_ptr<AudioConverter> AudioConverter::make(const AudioFormat& from) {
    if (!std::isfinite(from.sampleRate) || from.sampleRate <= 0 || from.channels < 1)
        return nullptr;
    const soxr_io_spec_t formats = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
    soxr_error_t error = nullptr;
    soxr_t resampler =
        soxr_create(from.sampleRate, targetSampleRate, 1, &error, &formats, &quality, nullptr);
    if (error != nullptr || resampler == nullptr) return nullptr;
    return std::unique_ptr<AudioConverter>(new AudioConverter(from, resampler));
}

AudioConverter::AudioConverter(const AudioFormat& from, ::soxr* resampler)
    : m_from(from)
    , m_resampler(resampler) {}

AudioConverter::~AudioConverter() {
    soxr_delete(m_resampler);
}

void AudioConverter::mixDown(const AudioBuffer& buffer) {
    const auto channels = static_cast<std::size_t>(m_from.channels);
    const float share = 1.0F / static_cast<float>(channels);
    m_mono.resize(buffer.frames);
    const float* frame = buffer.samples;
    for (float& mono : m_mono) {
        float sum = 0;
        for (std::size_t channel = 0; channel < channels; ++channel) sum += frame[channel];
        mono = sum * share;
        frame += channels;
    }
}

tl::expected<std::size_t, QString> AudioConverter::process(const float* input, std::size_t frames,
                                                           std::size_t at) {
    std::size_t done = 0;
    const soxr_error_t error = soxr_process(m_resampler, input, frames, nullptr,
                                            m_output.data() + at, m_output.size() - at, &done);
    if (error != nullptr) return tl::unexpected(QString::fromUtf8(soxr_strerror(error)));
    return done;
}

tl::expected<std::span<const float>, QString> AudioConverter::convert(const AudioBuffer& buffer) {
    if (buffer.format != m_from)
        return tl::unexpected(QStringLiteral("the audio changed its format"));
    const float* input = buffer.samples;
    if (m_from.channels != 1) {
        mixDown(buffer);
        input = m_mono.data();
    }
    const double share = targetSampleRate / m_from.sampleRate * static_cast<double>(buffer.frames);
    m_output.resize(std::max(m_output.size(), static_cast<std::size_t>(share) + spareFrames));
    return process(input, buffer.frames, 0).map([this](std::size_t count) {
        return std::span<const float>(m_output.data(), count);
    });
}

tl::expected<std::span<const float>, QString> AudioConverter::flush() {
    std::size_t total = 0;
    for (;;) {
        m_output.resize(std::max(m_output.size(), total + spareFrames));
        const auto count = process(nullptr, 0, total);
        if (!count) return tl::unexpected(count.error());
        if (*count == 0) return std::span<const float>(m_output.data(), total);
        total += *count;
    }
}

} // namespace murlo
