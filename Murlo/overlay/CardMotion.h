#pragma once

#include "overlay/CardRecord.h"
#include "overlay/OverlayModel.h"
#include "overlay/TranscriptMotion.h"

#include <vector>

namespace murlo {

/// Animates the recording card: turns the model into a record of what to draw at a moment.
/// Independent of windows and clocks. Main thread.
class CardMotion {
public:
    /// Sets the targets of all animations from the model.
    void update(const OverlayModel& model, const CardMetrics::Motions& motions);
    /// Advances all animations.
    void advance(double seconds);
    /// Whether anything is still moving without a change of the model.
    [[nodiscard]] bool isMoving() const { return movesAsAWhole() || movesInPlace(); }
    /// Whether more than the waveform's bars or a turning symbol is moving.
    [[nodiscard]] bool movesAsAWhole() const;
    [[nodiscard]] CardRecord present() const;

private:
    struct Row {
        DictationState state;
        Animated opacity;
        double since = 0; ///< seconds it has been there
        QSizeF size = {};
    };

    void takeUpState(const OverlayModel& model, const CardMetrics::Motions& motions);
    void takeUpSize(const CardMetrics::Motions& motions, bool atOnce);
    [[nodiscard]] bool movesInPlace() const;
    [[nodiscard]] CardRow content(const Row& row) const;

    Animated m_presented;
    std::vector<Row> m_rows; ///< the last is the current state's
    std::vector<Animated> m_bars;
    double m_elapsed = 0;
    TranscriptMotion m_transcript;
    QList<TranscriptWord> m_words;
    Animated m_width;
    Animated m_rowHeight;
    Animated m_transcriptHeight;
    Animated m_transcriptGap; ///< below it
    bool m_still = false;
};

} // namespace murlo
