#pragma once

#include "MurloKit/DictationState.h"
#include "MurloKit/TranscriptAccumulator.h"

#include <QObject>

namespace murlo {

/// What the recording card shows. Main thread; observers are notified after a value has changed.
class OverlayModel : public QObject {
    Q_OBJECT

public:
    static constexpr int barCount = 58;

    OverlayModel();

    [[nodiscard]] const DictationState& state() const { return m_state; }
    /// Loudness history, oldest first, each 0…1.
    [[nodiscard]] const QList<double>& bars() const { return m_bars; }
    /// Seconds recorded so far.
    [[nodiscard]] double elapsed() const { return m_elapsed; }
    /// Drives the card's entry and exit.
    [[nodiscard]] bool isPresented() const { return m_presented; }
    [[nodiscard]] const QList<TranscriptWord>& words() const { return m_words; }

    void setState(const DictationState& state);
    void setElapsed(double seconds);
    void setPresented(bool presented);
    void setWords(const QList<TranscriptWord>& words);
    /// Takes the loudness of one captured buffer, as a linear amplitude (0…1), as the newest bar.
    void push(float level);
    /// Empties what belongs to one recording: bars, clock and words.
    void resetRecording();

Q_SIGNALS:
    void stateChanged();
    void barsChanged();
    void elapsedChanged();
    void presentedChanged();
    void wordsChanged();

private:
    DictationState m_state;
    QList<double> m_bars;
    double m_elapsed = 0;
    bool m_presented = false;
    QList<TranscriptWord> m_words;
    double m_smoothed = 0;
};

} // namespace murlo
