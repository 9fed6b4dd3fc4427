#include "overlay/OverlayModel.h"

#include <algorithm>
#include <cmath>

namespace murlo {

namespace {

// The meter's scale: speech close to a laptop's microphone fills it, a quiet room leaves it empty.
constexpr double emptyDecibels = -52;
constexpr double rangeDecibels = 46;
constexpr double leastAmplitude = 1e-7;
// A meter that jumps up and glides down is easier to follow than one that does both.
constexpr double attack = 0.55;
constexpr double release = 0.18;

} // namespace

OverlayModel::OverlayModel()
    : m_bars(barCount, 0.0) {}

void OverlayModel::setState(const DictationState& state) {
    if (m_state == state) return;
    m_state = state;
    Q_EMIT stateChanged();
}

void OverlayModel::setElapsed(double seconds) {
    if (m_elapsed == seconds) return;
    m_elapsed = seconds;
    Q_EMIT elapsedChanged();
}

void OverlayModel::setPresented(bool presented) {
    if (m_presented == presented) return;
    m_presented = presented;
    Q_EMIT presentedChanged();
}

void OverlayModel::setWords(const QList<TranscriptWord>& words) {
    if (m_words == words) return;
    m_words = words;
    Q_EMIT wordsChanged();
}

void OverlayModel::push(float level) {
    const double decibels = 20 * std::log10(std::max(static_cast<double>(level), leastAmplitude));
    const double target = std::clamp((decibels - emptyDecibels) / rangeDecibels, 0.0, 1.0);
    m_smoothed += (target - m_smoothed) * (target > m_smoothed ? attack : release);
    m_bars.removeFirst();
    m_bars.append(m_smoothed);
    Q_EMIT barsChanged();
}

void OverlayModel::resetRecording() {
    m_smoothed = 0;
    m_bars.fill(0.0);
    Q_EMIT barsChanged();
    setElapsed(0);
    setWords({});
}

} // namespace murlo
